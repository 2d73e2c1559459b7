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

class MemoryMap extends AxisPicture {
  constructor(model, place, readout, legend, states = MEMORY_STATES) {
    super(place, readout, legend);
    this.states = states;
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

  get count() { return this.ranges.length; }

  began(i) { return this.ranges[i].start; }

  ended(i) { return this.ranges[i].end; }

  summary() {
    const bytes = {};
    for (const { start, end, state } of this.ranges) {
      bytes[state] = (bytes[state] || 0) + end - start;
    }
    const parts = Object.keys(this.states).filter((state) => bytes[state])
      .map((state) => `${countText(bytes[state], "byte")} ${this.states[state].text}`);
    return parts.join(", ") || "no memory was concerned";
  }

  describe(i) {
    const { start, end, state } = this.ranges[i];
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
    drawTicks(context, colour, this.view, binaryStep(this.view.span, Math.max(2, width / 130)), 44, addressText);
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

  /** Shows it as large as it can be. */
  open(i) {
    const { start, end } = this.ranges[i];
    const span = Math.max((end - start) * 1.1, this.view.smallest);
    this.view.show((start + end - span) / 2, span);
    this.draw();
  }

  itemAt(x) {
    const address = this.view.value(x);
    const reach = this.view.span / this.view.width * 2;
    const i = Math.max(0, lowerBound(this.starts, address + 1e-9) - 1);
    const fits = (range) => range && address >= range.start - reach && address < range.end + reach;
    return fits(this.ranges[i]) ? i : fits(this.ranges[i + 1]) ? i + 1 : -1;
  }

  hover(x) {
    const address = Math.floor(this.view.value(x));
    this.hovered = this.itemAt(x);
    this.readout.textContent = this.hovered >= 0
      ? `${addressText(address)} in ${this.describe(this.hovered)}`
      : `${addressText(address)}, not in the image`;
    this.draw();
  }

  leave() {
    this.hovered = -1;
    this.tell();
    this.draw();
  }

  click(x) {
    this.selected = this.itemAt(x);
    this.draw();
  }
}
