// Draws the receiver's screens as a skin has them, in the skin's own coordinates.

function box(className, position, size) {
  const element = document.createElement("div");
  element.className = className;
  element.style.cssText = `left:${position[0]}px;top:${position[1]}px;`
    + `width:${size[0]}px;height:${size[1]}px`;
  return element;
}

function setFont(element, font) {
  element.style.fontSize = font.size + "px";
}

/** A text in its place: `flags` are halign and valign as CSS has them. */
function textBox(className, place, text, [halign, valign]) {
  const element = box(className, place.position, place.size);
  element.style.textAlign = halign;
  element.style.alignContent = {top: "start", center: "center", bottom: "end"}[valign];
  element.textContent = text;
  return element;
}

function drawLabel(place, content) {
  const text = content === undefined ? place.text ?? "" : content.text;
  return textBox("label", place, text, [place.halign, place.valign]);
}

function drawPages(place, content) {
  const element = textBox("label pages", place, content.lines.join("\n"), ["left", "top"]);
  if (content.pages > 1) {
    element.append(scrollbar((content.page - 1) / content.pages, 1 / content.pages));
  }
  return element;
}

function drawRow(place, row, selected) {
  const {template} = place;
  const element = box("item", [0, 0], [place.size[0], template.itemHeight]);
  element.setAttribute("role", "option");
  element.setAttribute("aria-selected", selected);
  if (selected) {
    element.style.color = place.foregroundSelected;
    element.style.backgroundColor = place.backgroundSelected;
  }
  for (const entry of template.entries) {
    if (entry.kind === "text") {
      const across = /RT_HALIGN_(\w+)/.exec(entry.flags)?.[1].toLowerCase() ?? "left";
      const down = /RT_VALIGN_(\w+)/.exec(entry.flags)?.[1].toLowerCase() ?? "top";
      const text = textBox("label line", {position: entry.pos, size: entry.size}, row.text,
        [across, down]);
      setFont(text, entry.font);
      element.append(text);
    } else if (row.icon) {
      const icon = document.createElement("img");
      icon.src = `pictures/update_${row.icon}.png`;
      icon.alt = row.icon;
      const frame = box("icon", entry.pos, entry.size);
      frame.append(icon);
      element.append(frame);
    }
  }
  return element;
}

/** A list shows the page of rows that the selected one is on. */
function drawList(place, content) {
  const element = box("list", place.position, place.size);
  element.setAttribute("role", "listbox");
  element.setAttribute("aria-label", "Rows");
  const visible = Math.floor(place.size[1] / place.template.itemHeight);
  const count = content.rows.length;
  const first = Math.floor((content.index ?? 0) / visible) * visible;
  content.rows.slice(first, first + visible).forEach((row, offset) => {
    const item = drawRow(place, row, first + offset === content.index);
    item.style.top = offset * place.template.itemHeight + "px";
    element.append(item);
  });
  if (place.scrollbar && count > visible) {
    element.append(scrollbar(first / count, Math.min(visible, count - first) / count));
  }
  return element;
}

function scrollbar(from, length) {
  const bar = document.createElement("div");
  bar.className = "scrollbar";
  const thumb = document.createElement("div");
  thumb.style.top = from * 100 + "%";
  thumb.style.height = length * 100 + "%";
  bar.append(thumb);
  return bar;
}

const DRAW = {text: drawLabel, list: drawList, pages: drawPages};

function drawElement(place, content, skin) {
  const element = (content ? DRAW[content.kind] : drawLabel)(place, content);
  if (place.name) {
    element.dataset.name = place.name;
  }
  if (place.font) {
    setFont(element, place.font);
  }
  element.style.color = place.foreground ?? skin.colours.get("Foreground") ?? "";
  if (!place.transparent) {
    element.style.backgroundColor = place.background ?? "";
  }
  return element;
}

/** A window's border with its title, around what the screen itself draws. */
function drawFrame({offset, font}, title) {
  const frame = document.createElement("div");
  frame.className = "frame";
  const text = document.createElement("div");
  text.className = "window-title";
  text.style.cssText = `left:${offset[0]}px;top:${offset[1]}px`;
  setFont(text, font);
  text.textContent = title;
  frame.append(text);
  return frame;
}

/**
 * Draws one screen of the receiver, for a picture that is `width` pixels wide.
 *
 * screen: as the protocol has it. name: the skin's screen that it takes; null, where the skin
 * has none for it, leaves the screen blank.
 */
export function drawScreen(screen, skin, name, width) {
  const place = skin.screens.get(name);
  if (!place) {
    const blank = document.createElement("div");
    blank.className = "screen blank";
    blank.textContent = "The skin has no screen for " + screen.name + ".";
    return blank;
  }
  const element = box("screen" + (place.bordered ? " window" : ""), place.position, place.size);
  element.dataset.screen = screen.name;
  element.dataset.layout = name;
  element.style.backgroundColor = place.background ?? skin.colours.get("Background") ?? "";
  if (place.xres !== width) {
    const scale = width / place.xres;
    element.style.transform = `scale(${scale})`;
    element.style.left = place.position[0] * scale + "px";
    element.style.top = place.position[1] * scale + "px";
  }
  if (place.bordered) {
    element.append(drawFrame(skin.title, screen.title));
  }
  const contents = new Map(screen.elements.map((content) => [content.name, content]));
  for (const child of place.elements) {
    // What the skin names and the screen lacks is passed over.
    if (!child.name || contents.has(child.name)) {
      element.append(drawElement(child, contents.get(child.name), skin));
    }
  }
  return element;
}
