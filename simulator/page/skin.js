// Skin XML as receivers have it: which screens there are, and what each shows where.

/** "a,b" as two numbers; "center" centres `inner` in `outer`. */
function pair(text, inner = [0, 0], outer = [0, 0]) {
  return text.split(",").map((part, axis) => (
    part.trim() === "center" ? Math.round((outer[axis] - inner[axis]) / 2) : Number(part)));
}

/** "Regular;22" as a font; sizes are pixels of the skin. */
function font(text) {
  const [family, size] = text.split(";");
  return {family, size: Number(size)};
}

/** The arguments of one MultiContentEntry...(...): name to text, pairs as two numbers. */
function entryArguments(text) {
  const values = {};
  for (const [, name, value] of text.matchAll(/(\w+)\s*=\s*(\([^)]*\)|[^,]+)/g)) {
    values[name] = value.startsWith("(") ? pair(value.slice(1, -1)) : value.trim();
  }
  return values;
}

/**
 * How a list's rows look: the Python dictionary in a <convert type="TemplatedMultiContent">.
 * Gives {itemHeight, entries: [{kind: "text" or "pixmap", pos, size, font, flags}]}.
 */
function rowTemplate(text) {
  const fonts = [...text.matchAll(/gFont\(\s*"([^"]*)"\s*,\s*(\d+)\s*\)/g)]
    .map(([, family, size]) => ({family, size: Number(size)}));
  const calls = text.matchAll(/MultiContentEntry(Text|Pixmap)\w*\(((?:[^()]|\([^()]*\))*)\)/g);
  return {
    itemHeight: Number(/"itemHeight"\s*:\s*(\d+)/.exec(text)[1]),
    entries: [...calls].map(([, kind, values]) => {
      const {pos, size, font: number = "0", flags = ""} = entryArguments(values);
      return {kind: kind.toLowerCase(), pos, size, font: fonts[Number(number)], flags};
    }),
  };
}

export class Skin {
  constructor() {
    this.screens = new Map();
    this.colours = new Map(); // of windows, for what a screen leaves open
    this.title = {offset: [0, 0], font: font("Regular;24")};
  }

  /**
   * Adds the screens of the skin file `text` in place of those of the same name, as receivers
   * do with a plug-in's part. `width` is the picture's that it is made for, when it has no
   * <resolution> of its own.
   */
  add(text, width) {
    const root = new DOMParser().parseFromString(text, "text/xml").documentElement;
    const resolution = root.querySelector("output resolution");
    const xres = Number(resolution?.getAttribute("xres") ?? width);
    const picture = [xres, xres * 9 / 16];
    const style = root.querySelector("windowstyle");
    for (const colour of style?.querySelectorAll("color") ?? []) {
      this.colours.set(colour.getAttribute("name"), this.colour(colour.getAttribute("color")));
    }
    const title = style?.querySelector("title");
    if (title) {
      this.title = {
        offset: pair(title.getAttribute("offset")), font: font(title.getAttribute("font")),
      };
    }
    // Screens without a place are for the text view.
    for (const element of root.querySelectorAll("screen[position]")) {
      const screen = this.place(element, picture);
      screen.xres = xres;
      screen.bordered = element.getAttribute("flags") !== "wfNoBorder";
      screen.elements = [...element.children].map((child) => this.place(child, screen.size));
      this.screens.set(element.getAttribute("name"), screen);
    }
  }

  /** The first of `names` that the skin has a screen for, except those in `without`. */
  find(names, without) {
    return names.find((name) => this.screens.has(name) && !without.includes(name)) ?? null;
  }

  /** An element's attributes, with places as numbers and colours as CSS has them. */
  place(element, outer) {
    const attribute = (name) => element.getAttribute(name);
    const colour = (name) => (attribute(name) === null ? null : this.colour(attribute(name)));
    const size = pair(attribute("size"), outer, outer);
    const convert = element.querySelector("convert[type=TemplatedMultiContent]");
    return {
      name: attribute("source") ?? attribute("name"),
      position: pair(attribute("position"), size, outer),
      size,
      text: attribute("text"),
      font: attribute("font") === null ? null : font(attribute("font")),
      halign: attribute("halign") ?? "left",
      valign: attribute("valign") ?? "top",
      transparent: attribute("transparent") === "1",
      foreground: colour("foregroundColor"),
      background: colour("backgroundColor"),
      foregroundSelected: colour("foregroundColorSelected"),
      backgroundSelected: colour("backgroundColorSelected"),
      scrollbar: attribute("scrollbarMode") === "showOnDemand",
      template: convert && rowTemplate(convert.textContent),
    };
  }

  /** "#AARRGGBB", where AA is how transparent it is, as a CSS colour. */
  colour(text) {
    const [, alpha, rgb] = /^#(..)?(.{6})$/.exec(text);
    return "#" + rgb + (255 - parseInt(alpha ?? "00", 16)).toString(16).padStart(2, "0");
  }
}
