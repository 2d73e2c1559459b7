// SPDX-License-Identifier: MIT
// What the pictures share: items on an axis that one can zoom and pan, with keys, wheel and buttons, its ticks, and the
// colours of the page.

/** Which part of `first` to `last` is seen, on `width` pixels. */
class View {
  constructor(first, last, smallest) {
    this.first = first;
    this.last = Math.max(last, first + smallest);
    this.smallest = smallest;
    this.width = 1;
    this.fit();
  }

  fit() {
    this.from = this.first;
    this.to = this.last;
  }

  get span() { return this.to - this.from; }

  x(value) { return (value - this.from) / this.span * this.width; }

  value(x) { return this.from + x / this.width * this.span; }

  zoom(center, factor) {
    const span = Math.min(Math.max(this.span * factor, this.smallest), this.last - this.first);
    const share = (center - this.from) / this.span;
    this.show(center - share * span, span);
  }

  show(from, span) {
    this.from = Math.min(Math.max(from, this.first), this.last - span);
    this.to = this.from + span;
  }

  pan(share) { this.show(this.from + share * this.span, this.span); }

  /** Moves as little as it takes to see `from` to `to`. */
  reveal(from, to) {
    const margin = this.span * 0.05;
    if (to - from > this.span || from < this.from) {
      this.show(from - margin, this.span);
    } else if (to > this.to) {
      this.show(to + margin - this.span, this.span);
    }
  }
}

const paper = { isUsed: false };

function palette() {
  const source = paper.isUsed ? document.querySelector(".paper") : document.documentElement;
  const style = getComputedStyle(source);
  return (name) => style.getPropertyValue(`--${name}`).trim();
}

/** Sizes a canvas to its place and says what it shows; returns a context in CSS pixels. */
function prepare(canvas, width, height, view) {
  if (view) {
    canvas.parentElement.dataset.view = `${view.from} ${view.to}`;
  }
  const density = Math.max(window.devicePixelRatio || 1, paper.isUsed ? 3 : 1);
  canvas.width = Math.round(width * density);
  canvas.height = Math.round(height * density);
  canvas.style.height = `${height}px`;
  const context = canvas.getContext("2d");
  context.setTransform(density, 0, 0, density, 0, 0);
  context.clearRect(0, 0, width, height);
  return context;
}

/** Fills a box; `pattern` tells states apart where colours do not. */
function fillBox(context, boxX, y, boxWidth, height, colour, pattern, ink) {
  // A box far beyond the canvas, as zooming makes them, would have millions of lines.
  const reach = 2 * context.canvas.width;
  const x = Math.max(boxX, -reach);
  const width = Math.min(boxX + boxWidth, reach) - x;
  context.fillStyle = colour;
  context.fillRect(x, y, width, height);
  if (!pattern || width < 3) {
    return;
  }
  context.save();
  context.beginPath();
  context.rect(x, y, width, height);
  context.clip();
  context.strokeStyle = ink;
  context.lineWidth = 1;
  context.beginPath();
  if (pattern === "outline") {
    context.rect(x + 0.5, y + 0.5, width - 1, height - 1);
  } else {
    const step = pattern === "cross" ? 5 : 6;
    for (let at = x - height - (x % step); at < x + width; at += step) {
      context.moveTo(at, y + height);
      context.lineTo(at + height, y);
    }
  }
  context.stroke();
  context.restore();
}

/** The multiples of `step` that are seen. Counted, for a step may be too small to add to a large number. */
function multiplesOf(step, { from, to }) {
  const first = Math.ceil(from / step);
  return Array.from({ length: Math.max(0, Math.floor(to / step) - first + 1) }, (_, i) => (first + i) * step);
}

/** A step of 1, 2 or 5 times a power of ten of which about `count` fit into `span`. */
function decimalStep(span, count) {
  const power = 10 ** Math.floor(Math.log10(span / count));
  return [1, 2, 5, 10].map((factor) => factor * power).find((step) => span / step <= count);
}

/** The same for addresses: a power of two of at least 1. */
function binaryStep(span, count) {
  return 2 ** Math.max(0, Math.ceil(Math.log2(span / count)));
}

/** Ticks below an axis at `y`, a multiple of `step` apart, with a label of each that fits. */
function drawTicks(context, colour, view, step, y, label) {
  context.font = fontOf(12);
  context.textAlign = "center";
  context.textBaseline = "middle";
  context.strokeStyle = colour("line");
  context.fillStyle = colour("muted");
  context.lineWidth = 1;
  context.beginPath();
  let free = 0;
  for (const at of multiplesOf(step, view)) {
    const x = Math.round(view.x(at)) + 0.5;
    context.moveTo(x, y);
    context.lineTo(x, y + 6);
    const text = label(at);
    const half = context.measureText(text).width / 2;
    const middle = Math.min(Math.max(x, half), view.width - half);
    if (middle - half >= free) {
      context.fillText(text, middle, y + 18);
      free = middle + half + 8;
    }
  }
  context.stroke();
}

function fontOf(size) {
  return `${size}px ${getComputedStyle(document.body).fontFamily}`;
}

/**
 * Items in the order of an axis, which begins `left` pixels from the edge; one of them may be selected. A picture has
 * `view`, `draw()`, `count`, `began(i)` and `ended(i)` on the axis, `itemAt(x, y)` or -1, `describe(i)`, and `summary()`
 * of all; `open(i)` is what Enter and a click do with one.
 */
class AxisPicture {
  constructor(place, readout, legend, left = 0) {
    this.place = place;
    this.canvas = place.querySelector("canvas");
    this.readout = readout;
    this.legend = legend;
    this.left = left;
    this.selected = -1;
  }

  valueAt(x) { return this.view.value(x - this.left); }

  /** Where keys zoom: at what is selected, if it is seen. */
  center() {
    const at = this.selected < 0 ? NaN : (this.began(this.selected) + this.ended(this.selected)) / 2;
    return at >= this.view.from && at <= this.view.to ? at : (this.view.from + this.view.to) / 2;
  }

  select(i) {
    this.selected = i;
    this.view.reveal(this.began(i), this.ended(i));
    this.tell();
    this.draw();
  }

  step(by) {
    if (this.count === 0) {
      return;
    }
    // Without a selection the first step goes to what is seen first.
    const from = this.selected < 0 ? this.firstSeen() - Math.sign(by) : this.selected;
    this.select(Math.min(Math.max(from + by, 0), this.count - 1));
  }

  firstSeen() {
    let i = 0;
    while (i < this.count - 1 && this.began(i) < this.view.from) {
      ++i;
    }
    return i;
  }

  /** What is selected, or everything. */
  tell() {
    this.readout.textContent = this.selected >= 0 ? this.describe(this.selected) : this.summary();
  }

  enter() {
    if (this.selected >= 0) {
      this.open(this.selected);
    }
  }

  focus() {
    if (this.selected >= 0) {
      this.tell();
    }
  }

  leave() { this.tell(); }

  click(x, y) {
    const i = this.itemAt(x, y);
    if (i >= 0) {
      this.select(i);
      this.open(i);
    }
  }
}

/** Lets keys, wheel, buttons and resizing work on a picture, which has `hover(x, y)` as well. */
function makeNavigable(picture, place, tools, name) {
  const redraw = () => picture.draw();
  const zoom = (factor) => { picture.view.zoom(picture.center(), factor); redraw(); };
  const fit = () => { picture.view.fit(); redraw(); };
  const pan = (share) => { picture.view.pan(share); redraw(); };
  const keys = {
    "+": () => zoom(0.5), "=": () => zoom(0.5), "-": () => zoom(2), "0": fit,
    "ArrowLeft": (event) => event.shiftKey ? pan(-0.2) : picture.step(-1),
    "ArrowRight": (event) => event.shiftKey ? pan(0.2) : picture.step(1),
    "Home": () => picture.step(-Infinity), "End": () => picture.step(Infinity),
    "Enter": () => picture.enter(),
  };
  place.addEventListener("keydown", (event) => {
    const act = keys[event.key];
    if (act && !event.ctrlKey && !event.metaKey && !event.altKey) {
      event.preventDefault();
      act(event);
    }
  });
  const canvas = place.querySelector("canvas");
  const offset = (event) => {
    const box = canvas.getBoundingClientRect();
    return [event.clientX - box.left, event.clientY - box.top];
  };
  place.addEventListener("wheel", (event) => {
    if (event.ctrlKey || event.shiftKey) {
      event.preventDefault();
      const turned = event.deltaY || event.deltaX;
      picture.view.zoom(picture.valueAt(offset(event)[0]), turned > 0 ? 1.25 : 0.8);
      redraw();
    }
  }, { passive: false });
  place.addEventListener("pointermove", (event) => picture.hover(...offset(event)));
  place.addEventListener("pointerleave", () => picture.leave());
  place.addEventListener("click", (event) => picture.click(...offset(event)));
  place.addEventListener("focus", () => picture.focus());
  const buttons = [["−", `Zoom out of the ${name}`, () => zoom(2)],
    ["+", `Zoom into the ${name}`, () => zoom(0.5)], ["All", `See all of the ${name}`, fit]];
  for (const [text, label, act] of buttons) {
    const button = element("button", { type: "button", "aria-label": label, title: label }, text);
    button.addEventListener("click", act);
    tools.append(button);
  }
  new ResizeObserver(redraw).observe(place);
}

/** A legend entry with a swatch drawn like the picture. */
function legendEntry(paint, text) {
  const entry = element("li");
  const swatch = element("canvas", { "aria-hidden": "true" });
  paint(prepare(swatch, 18, 12));
  entry.append(swatch, text);
  return entry;
}
