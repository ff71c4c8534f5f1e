// The page: hands the receiver's screens to the drawing, and keys and wishes to the receiver.

import {paint, unread} from "./picture.js";

const find = (id) => document.getElementById(id);

// The receiver, over one WebSocket. simulator/page/PROTOCOL.md describes what goes through it.

const socket = new WebSocket(new URL("socket", location.href.replace(/^http/, "ws")));
let lastId = 0;

/** Asks the receiver for something: {do: what, and what that takes}. */
function ask(request) {
  if (socket.readyState === WebSocket.OPEN) {
    tell("");
    socket.send(JSON.stringify({id: ++lastId, ...request}));
  }
}

socket.addEventListener("message", ({data}) => {
  const message = JSON.parse(data);
  if (message.error) {
    tell(message.error);
  }
  EVENTS[message.event]?.(message);
});
socket.addEventListener("close", () => {
  tell("The receiver is gone. Start ./run again and reload this page.");
});

/** Shows a sentence over the picture, until something is asked for. */
function tell(sentence) {
  find("notice").textContent = sentence;
  find("notice").hidden = !sentence;
}

/** Shows a text that arrives again and again; touches the page only when it has changed. */
function showText(id, text) {
  if (find(id).textContent !== text) {
    find(id).textContent = text;
  }
}

const EVENTS = {
  screen: draw,
  log: addToLog,
  clock({time, speed}) {
    showText("clock", clockText(time));
    showText("speed", speed === 1 ? "" : `${speed} times as fast`);
  },
  receiver({model, models, faults, width, fallback}) {
    fillModels(models, model);
    fillFaults(faults);
    find("picture-size").value = width;
    find("fallback").checked = fallback;
  },
  busy: showBusy,
  idle: hideBusy,
};

// The picture.

let newest = 0; // how many pictures there have been; one that is painted too late is left out

async function draw({size: [width, height], screens, operations}) {
  const number = ++newest;
  const picture = await paint([width, height], operations);
  if (number !== newest) {
    return;
  }
  const canvas = find("screen");
  Object.assign(canvas, {width, height});
  canvas.getContext("2d").putImageData(picture, 0, 0);
  const screen = screens.at(-1);
  find("texts").replaceChildren(...screen ? [readable(screen)] : []);
  say(screen);
  if (screen && !screen.layout) {
    tell(`The skin has no screen for ${screen.name}: nothing is seen of it.`);
  }
  if (unread.size) {
    tell(`This browser cannot read ${unread.size} of the skin's files.`);
  }
}

/** A part of what the picture shows, as text. */
function part(words, data) {
  const element = document.createElement("div");
  element.textContent = words;
  Object.assign(element.dataset, data);
  return element;
}

/** The texts of a screen, for those who do not see the picture. */
function readable({name, layout, title, elements}) {
  const screen = part("", {screen: name, layout: layout ?? "", title});
  screen.append(...elements.map((element) => {
    const shown = part(element.text ?? element.lines?.join("\n") ?? "", {name: element.name});
    if (element.kind === "list") {
      shown.setAttribute("role", "listbox");
      shown.setAttribute("aria-label", "Rows");
      shown.append(...element.rows.map(({text, icon}, at) => {
        const row = part(text, icon ? {icon} : {});
        row.setAttribute("role", "option");
        row.setAttribute("aria-selected", at === element.index);
        return row;
      }));
    }
    return shown;
  }));
  return screen;
}

/** Tells screen readers what is new in the picture: the title, and the selected row. */
function say(screen) {
  const list = screen?.elements.find((element) => element.kind === "list");
  const row = list?.rows[list.index]?.text ?? "";
  find("said").textContent = screen ? `${screen.title}. ${row}` : "Television picture";
}

find("reopen").addEventListener("click", () => ask({do: "reopen"}));
find("picture-size").addEventListener("change", ({target}) => (
  ask({do: "size", width: Number(target.value)})));
find("fallback").addEventListener("change", ({target}) => (
  ask({do: "fallback", on: target.checked})));

// The indication that the receiver does not answer just now.

let busyClock = null;

/** Counts the seconds since the receiver was last heard; `since` of them have passed. */
function showBusy({since}) {
  const began = performance.now() - 1000 * since;
  const count = () => {
    const seconds = (performance.now() - began) / 1000;
    find("busy").textContent = `The receiver waits, ${seconds.toFixed(0)} s`;
  };
  hideBusy();
  count();
  busyClock = setInterval(count, 1000);
  find("busy").hidden = false;
  find("picture").setAttribute("aria-busy", "true");
}

function hideBusy() {
  clearInterval(busyClock);
  find("busy").hidden = true;
  find("picture").setAttribute("aria-busy", "false");
}

// The remote control. Each key: what it says, its name for ears, its key on the keyboard.

const KEYS = {
  up: ["▲", "Up", "ArrowUp"], down: ["▼", "Down", "ArrowDown"],
  left: ["◀", "Left", "ArrowLeft"], right: ["▶", "Right", "ArrowRight"],
  ok: ["OK", "OK", "Enter"], cancel: ["Exit", "Exit", "Escape"],
  menu: ["Menu", "Menu", "m"], info: ["Info", "Info", "i"],
  pageUp: ["P+", "Page up", "PageUp"], pageDown: ["P−", "Page down", "PageDown"],
  red: ["", "Red", "r"], green: ["", "Green", "g"],
  yellow: ["", "Yellow", "y"], blue: ["", "Blue", "b"],
};
for (const digit of "1234567890") {
  KEYS[digit] = [digit, digit, digit];
}
const LEGENDS = {
  ArrowUp: "↑", ArrowDown: "↓", ArrowLeft: "←", ArrowRight: "→", Enter: "↵", Escape: "Esc",
  PageUp: "PgUp", PageDown: "PgDn",
};
const ROWS = [
  ["1", "2", "3"], ["4", "5", "6"], ["7", "8", "9"], ["menu", "0", "info"],
  ["pageUp", "up", "cancel"], ["left", "ok", "right"], ["pageDown", "down", "news"],
  ["red", "green", "yellow", "blue"],
];
const PASSES = [["10 s", 10, "t"], ["1 h", 3600, "h"], ["24 h", 86400, "d"]];
const shortcuts = new Map(); // key of the keyboard: what it does

function button(label, name, shortcut, action) {
  const element = document.createElement("button");
  element.type = "button";
  element.textContent = label;
  element.setAttribute("aria-label", name);
  element.setAttribute("aria-keyshortcuts", shortcut);
  const legend = document.createElement("kbd");
  legend.textContent = LEGENDS[shortcut] ?? shortcut;
  if (legend.textContent !== label) {
    element.append(legend);
  }
  element.addEventListener("click", action);
  // A click leaves the focus where it is: Enter stays OK.
  element.addEventListener("mousedown", (event) => event.preventDefault());
  shortcuts.set(shortcut, action);
  return element;
}

function remoteKey(key) {
  const [label, name, shortcut] = KEYS[key] ?? [];
  const element = key === "news"
    ? button("News", "News, the entry in the plug-in menu", "n", () => ask({do: "open"}))
    : button(label, name, shortcut, () => ask({do: "press", key}));
  element.dataset.key = key;
  return element;
}

for (const keys of ROWS) {
  const row = document.createElement("div");
  row.append(...keys.map(remoteKey));
  find("keys").append(row);
}
find("passes").append(...PASSES.map(([label, seconds, shortcut]) => (
  button(`+ ${label}`, `${label} pass`, shortcut, () => ask({do: "pass", seconds})))));

document.addEventListener("keydown", (event) => {
  const {target, key} = event;
  // What has the focus keeps its own keys.
  const kept = target.matches("button") && key === "Enter"
    || target.matches("#entries") && /^(Arrow|Page)/.test(key) || target.matches("select");
  const action = shortcuts.get(key);
  if (action && find("keyboard").checked && !kept
      && !event.ctrlKey && !event.altKey && !event.metaKey) {
    event.preventDefault();
    action();
  }
});

// Time, faults, the model.

function clockText(seconds) {
  const whole = Math.floor(seconds);
  const two = (number) => String(number).padStart(2, "0");
  const days = Math.floor(whole / 86400);
  return (days ? `${days} d ` : "") + Math.floor(whole / 3600) % 24
    + `:${two(Math.floor(whole / 60) % 60)}:${two(whole % 60)}`;
}

const FAULTS = {
  "down": "Feed server down",
  "not-found": "Answers 404",
  "malformed": "News not well-formed",
  "stalled": "Feed server stalls",
  "no-opkg": "No opkg",
  "failing-package": "Package fails to install",
  "web-page": "Index is a web page",
  "locked": "opkg is locked",
  "no-space": "No space left",
};

/** Shows which faults there are: made once, so that the focus stays where it is. */
function fillFaults(faults) {
  const list = find("fault-list");
  for (const name of Object.keys({...FAULTS, ...faults}).filter((one) => one in faults)) {
    if (!list.querySelector(`[name="${name}"]`)) {
      list.append(faultBox(name));
    }
    list.querySelector(`[name="${name}"]`).checked = faults[name];
  }
}

function faultBox(name) {
  const label = document.createElement("label");
  label.className = "check";
  const box = document.createElement("input");
  box.type = "checkbox";
  box.name = name;
  box.addEventListener("change", () => ask({do: "fault", name, on: box.checked}));
  label.append(box, " " + (FAULTS[name] ?? name));
  return label;
}

function fillModels(models, model) {
  if (!find("model").options.length) {
    find("model").append(...models.map((key) => new Option(key, key)));
  }
  find("model").value = model;
}

find("model").addEventListener("change", ({target}) => ask({do: "model", key: target.value}));

// The log.

const MOST_ENTRIES = 500;

function addToLog({time, kind, text: words}) {
  const entries = find("entries");
  const atEnd = entries.scrollTop + entries.clientHeight >= entries.scrollHeight - 8;
  const entry = document.createElement("p");
  entry.dataset.kind = kind;
  for (const [name, content] of [["time", clockText(time)], ["b", kind], ["span", words]]) {
    const part = document.createElement(name);
    part.textContent = content;
    entry.append(part);
  }
  entries.append(entry);
  while (entries.children.length > MOST_ENTRIES) {
    entries.firstChild.remove();
  }
  if (atEnd) {
    entries.scrollTop = entries.scrollHeight;
  }
  if (kind === "exception") {
    tell("An exception: see the log. A receiver would restart its GUI here.");
  }
}

find("clear").addEventListener("click", () => find("entries").replaceChildren());
