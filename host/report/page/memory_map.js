// SPDX-License-Identifier: MIT
// The memory as a picture to scale.

const MEMORY_STATES = {
  verified: { text: "written and verified", colour: "verified" },
  written: { text: "written", colour: "written" },
  read: { text: "read", colour: "written" },
  fill: { text: "left out as fill", colour: "fill", pattern: "outline", ink: "muted" },
  erased: { text: "erased, not written", colour: "erased", pattern: "outline", ink: "warn" },
  failed: { text: "failed", colour: "failed", pattern: "cross", ink: "ground" },
  planned: { text: "not reached", colour: "planned", pattern: "hatch", ink: "muted" },
};

class MemoryMap {
  constructor(model, place, readout, legend, states = MEMORY_STATES) {
    this.states = states;
    this.canvas = place.querySelector("canvas");
    this.readout = readout;
    this.legend = legend;
    this.selected = -1;
    this.hovered = -1;
    this.show(model.memory);
  }

  /** Takes ranges in the order of their addresses; where they are the same part of the memory, it is seen as before. */
  show(memory) {
    this.ranges = memory.map(([start, count, state]) => ({ start, end: start + count, state }));
    this.starts = this.ranges.map((range) => range.start);
    const view = new View(this.starts[0] ?? 0, this.ranges[this.ranges.length - 1]?.end ?? 16, 16);
    if (view.first !== this.view?.first || view.last !== this.view?.last) {
      this.view = view;
    }
    this.selected = Math.min(this.selected, this.ranges.length - 1);
    this.hovered = Math.min(this.hovered, this.ranges.length - 1);
    if (this.hovered < 0) {
      this.tell();
    }
  }

  /** What is selected, or everything. */
  tell() {
    this.readout.textContent = this.selected >= 0 ? this.describe(this.ranges[this.selected]) : this.summary();
  }

  summary() {
    const bytes = {};
    for (const { start, end, state } of this.ranges) {
      bytes[state] = (bytes[state] || 0) + end - start;
    }
    const parts = Object.keys(this.states).filter((state) => bytes[state])
      .map((state) => `${countText(bytes[state], "byte")} ${this.states[state].text}`);
    return parts.join(", ") || "no memory was concerned";
  }

  describe({ start, end, state }) {
    return `${addressText(start)} to ${addressText(end - 1)}, ${countText(end - start, "byte")}: `
      + this.states[state].text;
  }

  draw() {
    const width = this.canvas.parentElement.clientWidth;
    const height = 78;
    const colour = palette();
    const context = prepare(this.canvas, width, height, this.view);
    this.view.width = width;
    context.fillStyle = colour("raised");
    context.fillRect(0, 0, width, 44);
    this.drawRanges(context, colour);
    this.drawAxis(context, colour, width);
    this.drawLegend(colour);
  }

  drawRanges(context, colour) {
    const { view } = this;
    const first = Math.max(0, lowerBound(this.starts, view.from) - 1);
    let drawnTo = -1;
    for (let i = first; i < this.ranges.length && this.ranges[i].start < view.to; ++i) {
      const { start, end, state } = this.ranges[i];
      const look = this.states[state];
      const x = view.x(start);
      // Never narrower than a pixel: a failed byte must be seen in a megabyte.
      const right = Math.max(view.x(end), x + (state === "failed" ? 3 : 1));
      if (right - drawnTo < 0.5 && state !== "failed") {
        continue;
      }
      fillBox(context, x, 0, right - x, 44, colour(look.colour), look.pattern, colour(look.ink || "ground"));
      drawnTo = right;
    }
    for (const i of [this.selected, this.hovered]) {
      if (i >= 0) {
        const x = view.x(this.ranges[i].start);
        context.strokeStyle = colour("ink");
        context.lineWidth = 2;
        context.strokeRect(x, 1, Math.max(view.x(this.ranges[i].end) - x, 3), 42);
      }
    }
  }

  drawAxis(context, colour, width) {
    const step = binaryStep(this.view.span, Math.max(2, width / 130));
    context.fillStyle = colour("muted");
    context.strokeStyle = colour("line");
    context.font = `12px ${getComputedStyle(document.body).fontFamily}`;
    context.textAlign = "center";
    context.lineWidth = 1;
    context.beginPath();
    for (const at of multiplesOf(step, this.view)) {
      const x = Math.round(this.view.x(at)) + 0.5;
      context.moveTo(x, 44);
      context.lineTo(x, 52);
      context.fillText(addressText(at), Math.min(Math.max(x, 32), width - 32), 68);
    }
    context.stroke();
  }

  drawLegend(colour) {
    const present = new Set(this.ranges.map((range) => range.state));
    this.legend.replaceChildren(...Object.keys(this.states).filter((state) => present.has(state))
      .map((state) => {
        const look = this.states[state];
        const paint = (context) => fillBox(context, 0, 0, 18, 12, colour(look.colour), look.pattern,
          colour(look.ink || "ground"));
        return legendEntry(paint, look.text);
      }));
  }

  valueAt(x) { return this.view.value(x); }

  /** Where keys zoom: at the selected range, if it is seen. */
  center() {
    const range = this.ranges[this.selected];
    const middle = range ? (range.start + range.end) / 2 : NaN;
    return middle >= this.view.from && middle <= this.view.to ? middle : (this.view.from + this.view.to) / 2;
  }

  step(by) {
    if (this.ranges.length === 0) {
      return;
    }
    const wanted = this.selected < 0 && by === 1 ? 0 : this.selected + by;
    this.selected = Math.min(Math.max(wanted, 0), this.ranges.length - 1);
    const range = this.ranges[this.selected];
    this.view.reveal(range.start, range.end);
    this.readout.textContent = this.describe(range);
    this.draw();
  }

  enter() {
    const range = this.ranges[this.selected];
    if (range) {
      const span = Math.max((range.end - range.start) * 1.1, this.view.smallest);
      this.view.show((range.start + range.end - span) / 2, span);
      this.draw();
    }
  }

  focus() {
    if (this.selected >= 0) {
      this.readout.textContent = this.describe(this.ranges[this.selected]);
    }
  }

  rangeAt(x) {
    const address = this.view.value(x);
    const reach = this.view.span / this.view.width * 2;
    const i = Math.max(0, lowerBound(this.starts, address + 1e-9) - 1);
    const fits = (range) => range && address >= range.start - reach && address < range.end + reach;
    return fits(this.ranges[i]) ? i : fits(this.ranges[i + 1]) ? i + 1 : -1;
  }

  hover(x) {
    const address = Math.floor(this.view.value(x));
    this.hovered = this.rangeAt(x);
    this.readout.textContent = this.hovered >= 0
      ? `${addressText(address)} in ${this.describe(this.ranges[this.hovered])}`
      : `${addressText(address)}, not in the image`;
    this.draw();
  }

  leave() {
    this.hovered = -1;
    this.tell();
    this.draw();
  }

  click(x) {
    this.selected = this.rangeAt(x);
    this.draw();
  }
}
