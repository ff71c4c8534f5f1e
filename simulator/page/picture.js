// Carries out what the receiver says is painted, pixel by pixel, as simulator/host/painting/screen.py
// describes it. Nothing is decided here: not even a letter's place.

/** Red, green, blue and opacity of "#aarrggbb", from 0 to 255. */
function parts(colour) {
  const [clear, red, green, blue] = colour.match(/\w\w/g).map((digits) => parseInt(digits, 16));
  return [red, green, blue, 255 - clear];
}

/** The four parts of a pixel as one number, as a Uint32Array over ImageData has them. */
function pixel(four) {
  return new Uint32Array(new Uint8ClampedArray(four).buffer)[0];
}

/** What draw(context) draws: its bytes, four a pixel, and its pixels, one number each. */
function pixelsOf(width, height, draw) {
  const canvas = new OffscreenCanvas(width, height);
  const context = canvas.getContext("2d", {willReadFrequently: true});
  draw(context);
  return withPixels(context.getImageData(0, 0, width, height));
}

function withPixels({data, width, height}) {
  return {bytes: data, pixels: new Uint32Array(data.buffer), width, height};
}

// Files, each loaded once. Their names change with their content.

const loaded = new Map(); // name: the promise of a picture's pixels, or of a font's family

function load(name, loading, addressOf) {
  if (name && !loaded.has(name)) {
    loaded.set(name, loading(addressOf(name)).catch(() => unread.add(name) && null));
  }
  return loaded.get(name);
}

/** Names of the files that this browser cannot read. */
export const unread = new Set();

async function loadFont(address) {
  const font = new FontFace(`font${loaded.size}`, `url("${address}")`);
  await font.load();
  document.fonts.add(font);
  return font.family;
}

async function loadPicture(address) {
  const image = new Image();
  image.src = address;
  await image.decode();
  return pixelsOf(image.width, image.height, (context) => context.drawImage(image, 0, 0));
}

// Letters. How much of each pixel a letter covers, in the receiver's 16 steps.

const masks = new Map();

function mask(family, size, outline, letter) {
  const key = [family, size, outline, letter].join(" ");
  if (!masks.has(key)) {
    const margin = size + outline;
    const {bytes, width} = pixelsOf(3 * margin, 3 * margin, (context) => {
      context.font = `${size}px "${family}"`;
      context.textRendering = "geometricPrecision"; // the outlines as they are, without hinting
      context.fillStyle = context.strokeStyle = "#444"; // the grey that is least corrected
      context.lineJoin = "round";
      context.lineWidth = 2 * outline;
      context.fillText(letter, margin, 2 * margin);
      if (outline) {
        context.strokeText(letter, margin, 2 * margin);
      }
    });
    const covered = [];
    for (let at = 0; at < width * width; at++) {
      const step = bytes[4 * at + 3] >> 4;
      if (step) {
        covered.push([at % width - margin, Math.floor(at / width) - 2 * margin, step]);
      }
    }
    masks.set(key, covered);
  }
  return masks.get(key);
}

const DO = {
  fill({pixels, width}, {rect: [left, top, wide, high], colour}) {
    const one = pixel(parts(colour));
    for (let y = top; y < top + high; y++) {
      pixels.fill(one, y * width + left, y * width + left + wide);
    }
  },

  letters({pixels, width}, {size, letters, y, clip, outline, colour, ground}, font) {
    const [left, top, wide, high] = clip;
    const [from, to] = [parts(ground), parts(colour)];
    // Rounded down is the transparency, so opacity, part 3, is rounded up.
    const rounded = [Math.floor, Math.floor, Math.floor, Math.ceil];
    const steps = [...Array(16).keys()].map((step) => pixel(from.map(
      (start, part) => start + rounded[part]((to[part] - start) * step / 16))));
    for (const [letter, x] of letters) {
      for (const [right, down, step] of mask(font, size, outline ?? 0, letter)) {
        const column = x + right;
        const row = y + down;
        if (column >= left && column < left + wide && row >= top && row < top + high) {
          pixels[row * width + column] = steps[step];
        }
      }
    }
  },

  picture({bytes, pixels, width}, {rect, clip: [left, top, wide, high], mode}, source) {
    const least = {all: 0, seen: 1, solid: 128}[mode];
    for (let y = top; y < top + high; y++) {
      const row = Math.floor((y - rect[1]) % rect[3] * source.height / rect[3]);
      for (let x = left; x < left + wide; x++) {
        const column = Math.floor((x - rect[0]) % rect[2] * source.width / rect[2]);
        const from = row * source.width + column;
        const to = y * width + x;
        const alpha = source.bytes[4 * from + 3];
        if (mode === "blend") {
          for (let part = 0; part < 4; part++) {
            const over = part === 3 ? 255 : source.bytes[4 * from + part];
            bytes[4 * to + part] += (over - bytes[4 * to + part]) * alpha >> 8;
          }
        } else if (alpha >= least) {
          pixels[to] = source.pixels[from];
        }
      }
    }
  },
};

/** Paints the operations; returns ImageData. `addressOf` tells where a file is. */
export async function paint([width, height], operations, addressOf = (name) => "files/" + name) {
  const files = await Promise.all(operations.map(async ({font, file}) => ({
    font: await load(font, loadFont, addressOf),
    file: await load(file, loadPicture, addressOf)})));
  const picture = new ImageData(width, height);
  const painted = withPixels(picture);
  operations.forEach((operation, at) => {
    const {font, file} = files[at];
    if (font !== null && file !== null) {
      DO[operation.do](painted, operation, font ?? file);
    }
  });
  return picture;
}
