// SPDX-License-Identifier: MIT
// The record of runs: search, filters, a table, and a picture of outcomes and durations over time.

/* global AxisPicture, View, countText, decimalStep, drawTicks, element, fontOf, legendEntry, makeNavigable, multiplesOf,
   palette, prepare, timeText */

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
// How long until the runs are asked for again, in milliseconds: while somebody types, for what other stations did, and
// where something does not answer.
const TYPING = 200;
const OTHERS = 30000;
const AWAY = 5000;

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
class RunChart extends AxisPicture {
  constructor(open) {
    const find = (id) => document.getElementById(id);
    super(find("run-chart"), find("run-readout"), find("run-legend"), CHART.left);
    this.open = (i) => open(this.runs[i]);
    this.show([]);
    makeNavigable(this, this.place, find("run-tools"), "history");
  }

  get count() { return this.runs.length; }

  began(i) { return this.runs[i].started; }

  ended(i) { return this.runs[i].started; }

  /** Takes the runs in the order of their start. */
  show(runs) {
    this.runs = runs;
    this.selected = -1;
    const first = runs.length > 0 ? runs[0].started : 0;
    const last = runs.length > 0 ? runs[runs.length - 1].started : SECOND;
    const margin = Math.max((last - first) * 0.03, SECOND);
    this.view = new View(first - margin, last + margin, SECOND);
    this.longest = Math.max(1, ...runs.map((run) => run.seconds));
    this.tell();
    this.draw();
  }

  y(seconds) {
    return CHART.height - CHART.bottom - seconds / this.longest * (CHART.height - CHART.bottom - CHART.top);
  }

  draw() {
    const width = this.place.clientWidth;
    const colour = palette();
    const context = prepare(this.canvas, width, CHART.height, this.view);
    this.view.width = Math.max(width - CHART.left - 12, 1);
    context.fillStyle = colour("raised");
    context.fillRect(CHART.left, 0, width - CHART.left, CHART.height - CHART.bottom);
    context.font = fontOf(12);
    context.textBaseline = "middle";
    this.drawDurations(context, colour, width);
    context.translate(CHART.left, 0);
    this.drawTimes(context, colour);
    this.runs.forEach((run) => {
      const x = this.view.x(run.started);
      if (x >= 0 && x <= this.view.width) {
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

  drawTimes(context, colour) {
    const step = TIME_STEPS.find((each) => this.view.span / each <= Math.max(2, this.view.width / 140))
      ?? TIME_STEPS[TIME_STEPS.length - 1];
    const format = new Intl.DateTimeFormat(undefined, step < 86400 * SECOND
      ? { month: "short", day: "numeric", hour: "2-digit", minute: "2-digit", ...(step < 60 * SECOND ? { second: "2-digit" } : {}) }
      : { year: "numeric", month: "short", day: "numeric" });
    drawTicks(context, colour, this.view, step, CHART.height - CHART.bottom, (at) => format.format(at));
  }

  drawSelection(context, colour) {
    const run = this.runs[this.selected];
    if (run) {
      context.strokeStyle = colour("ink");
      context.lineWidth = 2;
      context.strokeRect(this.view.x(run.started) - 8, this.y(run.seconds) - 8, 16, 16);
    }
  }

  describe(i) {
    const run = this.runs[i];
    return [dateText(run.started), run.outcome, timeText(run.seconds), run.station, run.bay, run.ecu, run.images.join(", ")]
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

  itemAt(x, y) {
    return this.runs.findIndex((run) => Math.hypot(this.left + this.view.x(run.started) - x, this.y(run.seconds) - y) < 9);
  }

  hover(x, y) {
    const i = this.itemAt(x, y);
    if (i >= 0) {
      this.readout.textContent = this.describe(i);
    }
  }
}

export class RunHistory {
  /** `hasServer`: whether runs of other stations are to be had. */
  constructor(hasServer) {
    const find = (id) => document.getElementById(id);
    this.hasServer = hasServer;
    this.rows = find("run-rows");
    this.count = find("run-count");
    this.problem = find("run-problem");
    this.filters = { search: find("run-search"), station: find("run-station"), outcome: find("run-outcome"),
      since: find("run-since"), until: find("run-until") };
    this.asked = 0;
    this.shown = "";
    this.later = 0;
    find("history").hidden = false;
    find("history").classList.toggle("alone", !hasServer);
    this.chart = new RunChart((run) => this.reveal(run));
    for (const filter of Object.values(this.filters)) {
      filter.addEventListener("input", () => this.loadIn(TYPING));
    }
  }

  filter() {
    const { search, station, outcome, since, until } = this.filters;
    const filter = { last: MOST_RUNS, search: search.value, station: station.value, outcome: outcome.value };
    // Days are those of the one who looks.
    if (since.value) {
      filter.since = Math.max(0, new Date(`${since.value}T00:00`).getTime());
    }
    if (until.value) {
      const day = new Date(`${until.value}T00:00`);
      day.setDate(day.getDate() + 1);
      filter.until = Math.max(0, day.getTime());
    }
    return filter;
  }

  loadIn(milliseconds) {
    clearTimeout(this.later);
    this.later = setTimeout(() => this.load(), milliseconds);
  }

  async load() {
    const asked = ++this.asked;
    const isCurrent = () => asked === this.asked;
    clearTimeout(this.later);
    try {
      const filter = this.filter();
      const { runs } = await get("/api/runs", filter);
      if (!this.hasServer) {
        return isCurrent() && this.show(runs);
      }
      // What is here need not wait for a server that may be away.
      if (isCurrent() && (this.shown === "" || !this.problem.hidden)) {
        this.show(runs);
      }
      const all = await get("/api/stations/runs", filter);
      if (isCurrent()) {
        const here = new Set(runs.map((run) => run.id));
        this.show([...runs, ...all.runs.filter((run) => !here.has(run.id))]
          .sort((one, other) => other.started - one.started).slice(0, MOST_RUNS));
        this.showProblem(all.problem && `The server of all stations does not answer (${all.problem}). These are the runs `
          + "of this station alone. Flashing goes on; the server gets their records later.");
        this.loadIn(all.problem ? AWAY : OTHERS);
      }
    } catch (error) {
      if (isCurrent()) {
        this.showProblem(error.message);
        this.loadIn(AWAY);
      }
    }
    return undefined;
  }

  showProblem(text) {
    if (this.problem.textContent !== text) {
      this.problem.textContent = text;
    }
    this.problem.hidden = text === "";
  }

  /** What is the same as before keeps its focus and its selection. */
  show(runs) {
    const text = JSON.stringify(runs);
    if (this.shown === text) {
      return;
    }
    this.shown = text;
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
    row.append(element("td", {}, dateText(run.started)), outcome, element("td", { class: "station" }, run.station),
      element("td", {}, run.bay), element("td", {}, run.ecu), element("td", { title: run.image_sha256 }, run.images.join(", ")),
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
