// SPDX-License-Identifier: MIT
// The record of runs: search, filters, a table, and a picture of outcomes and durations over time.

/* global View, countText, decimalStep, element, legendEntry, makeNavigable, multiplesOf, palette, prepare, timeText */

import { get } from "./connection.js";

const OUTCOMES = {
  done: { colour: "verified", shape: "disc" },
  failed: { colour: "failed", shape: "cross" },
  cancelled: { colour: "warn", shape: "square" },
  unfinished: { colour: "muted", shape: "ring" },
};
const CHART = { height: 190, top: 12, bottom: 28, left: 64 };
const SECOND = 1000;
const TIME_STEPS = [1, 5, 15, 30, 60, 300, 900, 1800, 3600, 3 * 3600, 6 * 3600, 12 * 3600, 86400, 2 * 86400, 7 * 86400,
  14 * 86400, 30 * 86400, 91 * 86400, 365 * 86400, 3650 * 86400].map((seconds) => seconds * SECOND);
const MOST_RUNS = 500;

function dateText(time) {
  return new Date(time).toLocaleString(undefined, { dateStyle: "medium", timeStyle: "medium" });
}

function drawMark(context, x, y, { shape }, colour) {
  context.fillStyle = colour;
  context.strokeStyle = colour;
  context.lineWidth = 2;
  context.beginPath();
  if (shape === "disc" || shape === "ring") {
    context.arc(x, y, 4, 0, 2 * Math.PI);
  } else if (shape === "square") {
    context.rect(x - 4, y - 4, 8, 8);
  } else {
    context.moveTo(x - 4, y - 4);
    context.lineTo(x + 4, y + 4);
    context.moveTo(x + 4, y - 4);
    context.lineTo(x - 4, y + 4);
  }
  if (shape === "ring" || shape === "cross") {
    context.stroke();
  } else {
    context.fill();
  }
}

/** The runs on an axis of time, higher the longer they took. */
class RunChart {
  constructor(onEnter) {
    const find = (id) => document.getElementById(id);
    this.place = find("run-chart");
    this.canvas = this.place.querySelector("canvas");
    this.readout = find("run-readout");
    this.legend = find("run-legend");
    this.onEnter = onEnter;
    this.show([]);
    makeNavigable(this, this.place, find("run-tools"), "history");
  }

  /** Takes the runs in the order of their start. */
  show(runs) {
    this.runs = runs;
    this.selected = -1;
    const first = runs.length > 0 ? runs[0].started : 0;
    const last = runs.length > 0 ? runs[runs.length - 1].started : SECOND;
    const margin = Math.max((last - first) * 0.03, SECOND);
    this.view = new View(first - margin, last + margin, SECOND);
    this.longest = Math.max(1, ...runs.map((run) => run.seconds));
    this.leave();
    this.draw();
  }

  y(seconds) {
    return CHART.height - CHART.bottom - seconds / this.longest * (CHART.height - CHART.bottom - CHART.top);
  }

  x(time) { return CHART.left + this.view.x(time); }

  draw() {
    const width = this.place.clientWidth;
    const colour = palette();
    const context = prepare(this.canvas, width, CHART.height, this.view);
    this.view.width = Math.max(width - CHART.left - 12, 1);
    context.fillStyle = colour("raised");
    context.fillRect(CHART.left, 0, width - CHART.left, CHART.height - CHART.bottom);
    context.font = `12px ${getComputedStyle(document.body).fontFamily}`;
    context.textBaseline = "middle";
    this.drawDurations(context, colour, width);
    this.drawTimes(context, colour, width);
    this.runs.forEach((run) => {
      const x = this.x(run.started);
      if (x >= CHART.left && x <= width) {
        drawMark(context, x, this.y(run.seconds), OUTCOMES[run.outcome], colour(OUTCOMES[run.outcome].colour));
      }
    });
    this.drawSelection(context, colour);
    const present = new Set(this.runs.map((run) => run.outcome));
    this.legend.replaceChildren(...Object.keys(OUTCOMES).filter((outcome) => present.has(outcome)).map((outcome) =>
      legendEntry((paint) => drawMark(paint, 9, 6, OUTCOMES[outcome], colour(OUTCOMES[outcome].colour)), outcome)));
  }

  drawDurations(context, colour, width) {
    context.textAlign = "right";
    context.strokeStyle = colour("line");
    context.fillStyle = colour("muted");
    context.beginPath();
    for (const seconds of multiplesOf(decimalStep(this.longest, 4), { from: 0, to: this.longest })) {
      const y = Math.round(this.y(seconds)) + 0.5;
      context.moveTo(CHART.left, y);
      context.lineTo(width, y);
      context.fillText(seconds === 0 ? "0" : timeText(seconds), CHART.left - 8, Math.max(y, 8));
    }
    context.stroke();
  }

  drawTimes(context, colour, width) {
    const step = TIME_STEPS.find((each) => this.view.span / each <= Math.max(2, this.view.width / 140))
      ?? TIME_STEPS[TIME_STEPS.length - 1];
    const format = new Intl.DateTimeFormat(undefined, step < 86400 * SECOND
      ? { month: "short", day: "numeric", hour: "2-digit", minute: "2-digit", ...(step < 60 * SECOND ? { second: "2-digit" } : {}) }
      : { year: "numeric", month: "short", day: "numeric" });
    context.textAlign = "center";
    context.fillStyle = colour("muted");
    for (const at of multiplesOf(step, this.view)) {
      const x = this.x(at);
      context.fillText(format.format(at), Math.min(Math.max(x, CHART.left + 40), width - 50), CHART.height - 12);
    }
  }

  drawSelection(context, colour) {
    const run = this.runs[this.selected];
    if (run) {
      context.strokeStyle = colour("ink");
      context.lineWidth = 2;
      context.strokeRect(this.x(run.started) - 8, this.y(run.seconds) - 8, 16, 16);
    }
  }

  describe(run) {
    return [dateText(run.started), run.outcome, timeText(run.seconds), run.bay, run.ecu, run.images.join(", ")]
      .filter(Boolean).join(", ");
  }

  summary() {
    const counts = {};
    for (const { outcome } of this.runs) {
      counts[outcome] = (counts[outcome] || 0) + 1;
    }
    return Object.keys(OUTCOMES).filter((outcome) => counts[outcome])
      .map((outcome) => `${counts[outcome].toLocaleString("en-US")} ${outcome}`).join(", ") || "No run fits.";
  }

  valueAt(x) { return this.view.value(x - CHART.left); }

  center() {
    const at = this.runs[this.selected]?.started ?? NaN;
    return at >= this.view.from && at <= this.view.to ? at : (this.view.from + this.view.to) / 2;
  }

  select(i) {
    this.selected = i;
    const run = this.runs[i];
    this.view.reveal(run.started, run.started);
    this.readout.textContent = this.describe(run);
    this.draw();
  }

  step(by) {
    if (this.runs.length > 0) {
      const from = this.selected < 0 ? (by > 0 ? -1 : this.runs.length) : this.selected;
      this.select(Math.min(Math.max(from + by, 0), this.runs.length - 1));
    }
  }

  enter() {
    if (this.selected >= 0) {
      this.onEnter(this.runs[this.selected]);
    }
  }

  focus() {
    if (this.selected >= 0) {
      this.readout.textContent = this.describe(this.runs[this.selected]);
    }
  }

  runAt(x, y) {
    return this.runs.findIndex((run) => Math.hypot(this.x(run.started) - x, this.y(run.seconds) - y) < 9);
  }

  hover(x, y) {
    const i = this.runAt(x, y);
    if (i >= 0) {
      this.readout.textContent = this.describe(this.runs[i]);
    }
  }

  leave() {
    this.readout.textContent = this.selected >= 0 ? this.describe(this.runs[this.selected]) : this.summary();
  }

  click(x, y) {
    const i = this.runAt(x, y);
    if (i >= 0) {
      this.select(i);
      this.enter();
    }
  }
}

export class RunHistory {
  constructor() {
    const find = (id) => document.getElementById(id);
    this.rows = find("run-rows");
    this.count = find("run-count");
    this.search = find("run-search");
    this.outcome = find("run-outcome");
    this.since = find("run-since");
    this.until = find("run-until");
    this.asked = 0;
    find("history").hidden = false;
    this.chart = new RunChart((run) => this.reveal(run));
    let pause = 0;
    for (const filter of [this.search, this.outcome, this.since, this.until]) {
      filter.addEventListener("input", () => {
        clearTimeout(pause);
        pause = setTimeout(() => this.load(), 200);
      });
    }
  }

  filter() {
    const filter = { last: MOST_RUNS, search: this.search.value, outcome: this.outcome.value };
    // Days are those of the one who looks.
    if (this.since.value) {
      filter.since = Math.max(0, new Date(`${this.since.value}T00:00`).getTime());
    }
    if (this.until.value) {
      const day = new Date(`${this.until.value}T00:00`);
      day.setDate(day.getDate() + 1);
      filter.until = Math.max(0, day.getTime());
    }
    return filter;
  }

  async load() {
    const asked = ++this.asked;
    try {
      const { runs } = await get("/api/runs", this.filter());
      if (asked === this.asked) {
        this.show(runs);
      }
    } catch (error) {
      this.count.textContent = error.message;
    }
  }

  show(runs) {
    this.count.textContent = runs.length === MOST_RUNS ? `the last ${countText(MOST_RUNS, "run")}`
      : countText(runs.length, "run");
    this.rows.replaceChildren(...runs.map((run) => this.row(run)));
    this.chart.place.hidden = runs.length === 0;
    this.chart.show([...runs].reverse());
  }

  row(run) {
    const row = element("tr", { id: `run-${run.id}` });
    const outcome = element("td");
    outcome.append(element("span", { "data-state": run.outcome }, run.outcome));
    if (run.message) {
      outcome.append(element("div", { class: "message" }, run.message));
    }
    const report = element("td");
    if (run.has_report) {
      const text = dateText(run.started);
      report.append(element("a", { href: `/api/runs/${run.id}/report`, target: "_blank", rel: "noopener",
        "aria-label": `Report of ${text}` }, "Report"));
    }
    row.append(element("td", {}, dateText(run.started)), outcome, element("td", {}, run.bay),
      element("td", {}, run.ecu), element("td", { title: run.image_sha256 }, run.images.join(", ")),
      element("td", { class: "number" }, run.seconds > 0 ? timeText(run.seconds) : "–"), report);
    return row;
  }

  reveal(run) {
    this.rows.querySelector("[aria-current]")?.removeAttribute("aria-current");
    const row = document.getElementById(`run-${run.id}`);
    row?.setAttribute("aria-current", "true");
    row?.scrollIntoView({ block: "nearest" });
  }

  draw() { this.chart.draw(); }
}
