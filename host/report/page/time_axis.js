// SPDX-License-Identifier: MIT
// The exchanges on an axis of time, a lane for each service.

const LANE = { height: 22, bar: 12, top: 26, gutter: 224 };
const SHORTEST_WAIT = 0.005;

class TimeAxis extends AxisPicture {
  constructor(model, place, readout, legend, reveal) {
    super(place, readout, legend, LANE.gutter);
    this.model = model;
    this.open = reveal;
    this.view = new View(0, model.duration, 0.0001);
    this.lanes = [...model.names, "waiting"];
    this.height = LANE.top + this.lanes.length * LANE.height + 30;
    this.tell();
  }

  get count() { return this.model.exchanges.count; }

  began(i) { return this.model.exchanges.began[i]; }

  ended(i) { return this.model.exchanges.ended[i]; }

  summary() {
    const { exchanges } = this.model;
    let repeats = 0;
    let pending = 0;
    let failed = 0;
    for (let i = 0; i < exchanges.count; ++i) {
      repeats += exchanges.repeat[i];
      pending += exchanges.pending[i];
      failed += exchanges.outcome[i] === ANSWERED ? 0 : 1;
    }
    return `${countText(exchanges.count, "exchange")} in ${timeText(this.model.duration)}, `
      + `${countText(repeats, "request")} asked again, “response pending” ${countText(pending, "time")}, `
      + `${failed.toLocaleString("en-US")} not answered positively`;
  }

  describe(i) {
    const { exchanges, messages, texts } = this.model;
    const text = texts[messages.text[exchanges.firstMessage[i]]];
    const took = timeText(exchanges.ended[i] - exchanges.began[i]);
    const pending = exchanges.pending[i] ? `, response pending ${countText(exchanges.pending[i], "time")}` : "";
    const again = exchanges.repeat[i] ? ", asked again" : "";
    return `${clockText(exchanges.began[i])} s, ${took}: ${text} – ${OUTCOMES[exchanges.outcome[i]]}${pending}${again}`;
  }

  draw() {
    const width = this.canvas.parentElement.clientWidth;
    const colour = palette();
    const context = prepare(this.canvas, width, this.height, this.view);
    this.view.width = width - LANE.gutter;
    context.font = fontOf(12);
    context.textBaseline = "middle";
    this.drawLanes(context, colour, width);
    context.save();
    context.beginPath();
    context.rect(LANE.gutter, 0, width - LANE.gutter, this.height);
    context.clip();
    context.translate(LANE.gutter, 0);
    this.drawPhases(context, colour);
    const step = decimalStep(this.view.span, Math.max(2, this.view.width / 110));
    const digits = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
    drawTicks(context, colour, this.view, step, LANE.top + this.lanes.length * LANE.height,
      (at) => `${at.toFixed(digits)} s`);
    this.drawExchanges(context, colour);
    context.restore();
    this.drawLegend(colour);
  }

  drawLanes(context, colour, width) {
    context.textAlign = "left";
    this.lanes.forEach((name, lane) => {
      const y = LANE.top + lane * LANE.height;
      context.fillStyle = colour(lane % 2 === 0 ? "raised" : "ground");
      context.fillRect(0, y, width, LANE.height);
      context.fillStyle = colour("ink");
      context.fillText(name, 8, y + LANE.height / 2, LANE.gutter - 16);
    });
  }

  drawPhases(context, colour) {
    context.textAlign = "left";
    let labelledTo = -Infinity;
    for (const phase of this.model.phases) {
      const x = this.view.x(phase.began);
      const right = this.view.x(phase.ended);
      context.strokeStyle = colour("line");
      context.lineWidth = 1;
      context.beginPath();
      context.moveTo(Math.round(x) + 0.5, 4);
      context.lineTo(Math.round(x) + 0.5, LANE.top + this.lanes.length * LANE.height);
      context.stroke();
      const at = Math.max(x, 0) + 5;
      const needed = context.measureText(phase.name).width;
      if (at >= labelledTo && at + needed < right) {
        context.fillStyle = colour("muted");
        context.fillText(phase.name, at, 14);
        labelledTo = at + needed + 8;
      }
    }
  }

  lookOf(i) {
    const { exchanges } = this.model;
    if (exchanges.outcome[i] !== ANSWERED) {
      return { colour: "failed", pattern: "cross", ink: "ground", rank: 3 };
    }
    return exchanges.repeat[i] ? { colour: "again", rank: 1 } : { colour: "written", rank: 2 };
  }

  /** Of bars on the same pixel the worst is drawn, so that hundreds of thousands stay quick. */
  drawExchanges(context, colour) {
    const { exchanges } = this.model;
    const { view } = this;
    const looks = new Map();
    const colourOf = (name) => looks.get(name) ?? looks.set(name, colour(name)).get(name);
    const drawn = this.lanes.map(() => ({ right: -1, rank: 0 }));
    const inset = (LANE.height - LANE.bar) / 2;
    const bar = (lane, from, to, look) => {
      const x = view.x(from);
      const right = Math.max(view.x(to), x + 1);
      const last = drawn[lane];
      if (right - last.right < 0.5 && look.rank <= last.rank) {
        return;
      }
      drawn[lane] = { right: Math.max(right, last.right), rank: look.rank };
      fillBox(context, x, LANE.top + lane * LANE.height + inset, right - x, LANE.bar, colourOf(look.colour),
        look.pattern, colourOf(look.ink || "ground"));
    };
    const wait = { colour: "wait", pattern: "hatch", ink: "muted", rank: 1 };
    const pending = { colour: "erased", pattern: "hatch", ink: "warn", rank: 2 };
    const waiting = this.lanes.length - 1;
    for (let i = Math.max(0, lowerBound(exchanges.ended, view.from) - 1); i < exchanges.count; ++i) {
      if (exchanges.began[i] > view.to && i > 0 && exchanges.ended[i - 1] > view.to) {
        break;
      }
      bar(exchanges.name[i], exchanges.began[i], exchanges.ended[i], this.lookOf(i));
      if (exchanges.pending[i]) {
        bar(waiting, exchanges.began[i], exchanges.ended[i], pending);
      }
      if (i > 0 && exchanges.began[i] - exchanges.ended[i - 1] >= SHORTEST_WAIT) {
        bar(waiting, exchanges.ended[i - 1], exchanges.began[i], wait);
      }
    }
    this.drawSelection(context, colour);
  }

  drawSelection(context, colour) {
    const i = this.selected;
    if (i < 0) {
      return;
    }
    const { exchanges } = this.model;
    const x = this.view.x(exchanges.began[i]);
    const width = Math.max(this.view.x(exchanges.ended[i]) - x, 2);
    const y = LANE.top + exchanges.name[i] * LANE.height + 2;
    context.strokeStyle = colour("ink");
    context.lineWidth = 2;
    context.strokeRect(x - 1, y, width + 2, LANE.height - 4);
  }

  drawLegend(colour) {
    const entries = [["answered", "written"], ["asked again, answered", "again"],
      ["refused, damaged or no answer", "failed", "cross", "ground"],
      ["pause between exchanges", "wait", "hatch", "muted"], ["response pending", "erased", "hatch", "warn"]];
    this.legend.replaceChildren(...entries.map(([text, fill, pattern, ink]) => legendEntry(
      (context) => fillBox(context, 0, 0, 18, 12, colour(fill), pattern, colour(ink || "ground")), text)));
  }

  itemAt(x, y) {
    const { exchanges } = this.model;
    const lane = Math.floor((y - LANE.top) / LANE.height);
    const time = this.valueAt(x);
    const reach = this.view.span / this.view.width * 3;
    let best = -1;
    const first = lowerBound(exchanges.ended, time - reach);
    for (let i = first; i < exchanges.count && exchanges.began[i] <= time + reach; ++i) {
      if (exchanges.name[i] === lane) {
        best = i;
        break;
      }
    }
    return best;
  }

  phaseAt(time) {
    return this.model.phases.find((phase) => time >= phase.began && time < phase.ended);
  }

  hover(x, y) {
    const i = this.itemAt(x, y);
    const time = this.valueAt(x);
    const phase = this.phaseAt(time);
    this.readout.textContent = i >= 0 ? this.describe(i)
      : `${clockText(Math.max(time, 0))} s${phase ? ` in ${phase.name}` : ""}`;
  }
}
