// Draws the receiver's screens where it says, in the skin's own coordinates.

function box(className, [left, top], [width, height]) {
  const element = document.createElement("div");
  element.className = className;
  element.style.cssText = `left:${left}px;top:${top}px;width:${width}px;height:${height}px`;
  return element;
}

function colour(element, {colour: text, background}) {
  element.style.color = text ?? "";
  element.style.backgroundColor = background ?? "";
}

function drawText(className, {position, size, font, halign, valign}, text) {
  const element = box(className, position, size);
  element.style.fontSize = font.size + "px";
  element.style.textAlign = halign;
  element.style.alignContent = {top: "start", center: "center", bottom: "end"}[valign];
  element.textContent = text;
  return element;
}

function drawPicture({position, size, file, icon}) {
  const frame = box("icon", position, size);
  if (file) {
    const image = document.createElement("img");
    image.src = "pictures/" + file;
    image.alt = icon;
    frame.append(image);
  }
  return frame;
}

function drawList({position, size, items}) {
  const element = box("list", position, size);
  element.setAttribute("role", "listbox");
  element.setAttribute("aria-label", "Rows");
  for (const item of items) {
    const row = box("item", item.position, item.size);
    row.setAttribute("role", "option");
    row.setAttribute("aria-selected", item.selected);
    colour(row, item);
    row.append(...item.cells.map((cell) => (
      cell.kind === "picture" ? drawPicture(cell) : drawText("label line", cell, cell.text))));
    element.append(row);
  }
  return element;
}

/** Draws which part of the whole is seen: `start` and `length` are fractions of it. */
function drawScrollbar([start, length]) {
  const bar = document.createElement("div");
  bar.className = "scrollbar";
  const thumb = document.createElement("div");
  thumb.style.top = start * 100 + "%";
  thumb.style.height = length * 100 + "%";
  bar.append(thumb);
  return bar;
}

const DRAW = {
  text: (element) => drawText("label", element, element.text),
  pages: (element) => drawText("label pages", element, element.lines.join("\n")),
  list: drawList,
};

function drawElement(element) {
  const drawn = DRAW[element.kind](element);
  if (element.name) {
    drawn.dataset.name = element.name;
  }
  colour(drawn, element);
  if (element.scrollbar) {
    drawn.append(drawScrollbar(element.scrollbar));
  }
  return drawn;
}

/** A window's border with its title, around what the screen itself draws. */
function drawFrame({position: [left, top], font}, title) {
  const frame = document.createElement("div");
  frame.className = "frame";
  const text = document.createElement("div");
  text.className = "window-title";
  text.style.cssText = `left:${left}px;top:${top}px;font-size:${font.size}px`;
  text.textContent = title;
  frame.append(text);
  return frame;
}

/** Draws one screen of the receiver, as simulator/page/PROTOCOL.md has it. */
export function drawScreen(
  {name, layout, title, position, size, scale, background, frame, elements}) {
  if (!layout) {
    const blank = document.createElement("div");
    blank.className = "screen blank";
    blank.textContent = "The skin has no screen for " + name + ".";
    return blank;
  }
  const screen = box("screen", position.map((at) => at * scale), size);
  screen.dataset.screen = name;
  screen.dataset.layout = layout;
  screen.style.backgroundColor = background;
  screen.style.transform = `scale(${scale})`;
  if (frame) {
    screen.append(drawFrame(frame, title));
  }
  screen.append(...elements.map(drawElement));
  return screen;
}
