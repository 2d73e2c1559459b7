// SPDX-License-Identifier: MIT
// One bay: what it shows is the state that the station sends, and nothing that this page remembers.

/* global MEMORY_STATES, MemoryMap, addressText, countText, element, makeNavigable, rateText, timeText */

import { get, post } from "./connection.js";

const READY = { nothing: "Choose an image, or identify the ECU", image: "Ready to flash" };
const STATES_OF_MEMORY = { ...MEMORY_STATES, planned: { ...MEMORY_STATES.planned, text: "to be written" } };
const AFTER_DOWNLOAD = new Set(["check", "verify", "log zone", "close"]);
const NEEDS_BASE = 422;

/** How the memory looks once `bytes` of the image are `state`; the ranges are in the order of the download. */
function painted(ranges, bytes, state) {
  let left = bytes;
  const result = [];
  for (const [start, count, was] of ranges) {
    const reached = Math.min(Math.max(left, 0), count);
    left -= count;
    if (was === "fill" || reached === 0) {
      result.push([start, count, was]);
      continue;
    }
    result.push([start, reached, state]);
    if (reached < count) {
      result.push([start + reached, count - reached, was]);
    }
  }
  return result;
}

/** A line such as "next      look at the cable", as the terminal has it. */
function labelled(line) {
  const [, label, text] = /^(\S*)\s\s+(.*)$/s.exec(line) ?? [null, "", line];
  const row = element("span");
  row.append(element("span", { class: "label" }, label), " ", text);
  return row;
}

function leftText(seconds) {
  return seconds < 120 ? countText(Math.ceil(seconds), "second") : countText(Math.ceil(seconds / 60), "minute");
}

export class Bay {
  constructor(state) {
    this.path = `/api/bays/${state.bay}`;
    this.state = state;
    this.element = document.getElementById("bay").content.firstElementChild.cloneNode(true);
    this.parts = {};
    for (const part of this.element.querySelectorAll("[data-part]")) {
      this.parts[part.dataset.part] = part;
      part.id = `bay-${state.bay}-${part.dataset.part}`;
    }
    this.imageNumber = 0;
    this.ranges = [];
    this.logLines = -1;
    this.connect();
  }

  connect() {
    const { parts } = this;
    this.element.setAttribute("aria-labelledby", parts.name.id);
    parts.question.setAttribute("aria-labelledby", parts["question-title"].id);
    parts.question.setAttribute("aria-describedby", parts["question-lines"].id);
    parts.memory.setAttribute("aria-describedby", parts.readout.id);
    parts.memory.setAttribute("aria-label", `Memory of ${this.state.name}`);
    parts.bar.setAttribute("aria-label", `Progress of ${this.state.name}`);
    parts.log.setAttribute("aria-label", `Log of ${this.state.name}`);
    parts.log.setAttribute("role", "region");
    for (const name of ["identify", "flash", "stop", "unload", "copy"]) {
      parts[name].setAttribute("aria-describedby", parts.name.id);
    }
    parts.file.setAttribute("aria-describedby", parts.name.id);
    const onUse = (name, use) => parts[name].addEventListener("click", () => {
      if (parts[name].getAttribute("aria-disabled") !== "true") {
        use();
      }
    });
    onUse("identify", () => this.ask("identify"));
    onUse("flash", () => this.ask("flash", { image: this.state.image.number }));
    onUse("stop", () => this.ask("stop"));
    onUse("unload", () => this.ask("unload"));
    parts.yes.addEventListener("click", () => this.answer("yes"));
    parts.no.addEventListener("click", () => this.answer("no"));
    parts.copy.addEventListener("click", () => this.copyLog());
    parts.details.addEventListener("toggle", () => this.showLog());
    parts.file.addEventListener("change", () => {
      this.load(parts.file.files[0]);
      parts.file.value = "";
    });
    parts.base.addEventListener("submit", (event) => {
      event.preventDefault();
      this.load(this.file, parts.address.value.trim());
    });
    this.takeDrops();
    this.map = new MemoryMap({ memory: [] }, parts.memory, parts.readout, parts.legend, STATES_OF_MEMORY);
    makeNavigable(this.map, parts.memory, parts.zoom, `memory of ${this.state.name}`);
  }

  takeDrops() {
    const mark = (isOver) => this.element.classList.toggle("over", isOver);
    this.element.addEventListener("dragover", (event) => {
      event.preventDefault();
      mark(true);
    });
    this.element.addEventListener("dragleave", () => mark(false));
    this.element.addEventListener("drop", (event) => {
      event.preventDefault();
      mark(false);
      this.load(event.dataTransfer.files[0]);
    });
  }

  /** Asks the station for something. What becomes of it is in the events, in their order; the answer may be older. */
  async ask(what, query = {}, body = undefined) {
    this.showProblem("");
    try {
      await post(`${this.path}/${what}`, query, body);
      return 0;
    } catch (error) {
      this.showProblem(error.message);
      return error.status;
    }
  }

  answer(answer) {
    this.ask("answer", { question: this.state.question.number, answer });
  }

  async load(file, base = "") {
    if (!file) {
      return;
    }
    this.file = file;
    this.parts.choose.textContent = "reading the file …";
    const status = await this.ask("image", { name: file.name.replace(/\p{Cc}/gu, "_"), ...(base ? { base } : {}) }, file);
    const needsBase = status === NEEDS_BASE && base === "";
    if (needsBase) {
      this.showProblem("");
    }
    this.parts.base.hidden = !needsBase && !(status !== 0 && base !== "");
    this.showChoice();
    if (needsBase) {
      this.parts.address.focus();
    }
  }

  showProblem(text) {
    this.parts.problem.textContent = text;
    this.parts.problem.hidden = text === "";
  }

  show(state) {
    const before = this.state;
    this.state = state;
    const { parts } = this;
    parts.name.textContent = state.name;
    parts.place.textContent = [state.profile, state.bus, state.expected && `expects ${state.expected}`]
      .filter(Boolean).join(" · ");
    this.showLine();
    this.showQuestion(before);
    this.showProgress();
    this.showImage();
    this.showChoice();
    this.showButtons();
    this.showLog();
    const spoken = this.spoken();
    if (parts.spoken.textContent !== spoken) {
      parts.spoken.textContent = spoken;
    }
  }

  line() {
    const { state } = this;
    if (state.question !== null) {
      return ["asking", "Waiting for your answer"];
    }
    if (state.is_stopping) {
      return ["busy", "Stopping at the next safe point …"];
    }
    if (state.work !== "nothing") {
      return ["busy", `${state.work === "flashing" ? "Flashing" : "Identifying"} ${state.ecu || "the ECU"} …`];
    }
    if (state.outcome !== null) {
      return [state.outcome.state, state.outcome.line];
    }
    return ["ready", state.image === null ? READY.nothing : READY.image];
  }

  showLine() {
    const { state, parts } = this;
    const [kind, line] = this.line();
    parts.state.dataset.state = kind;
    parts.line.textContent = line;
    const outcome = state.work === "nothing" ? state.outcome : null;
    parts.more.replaceChildren(...(outcome?.more ?? []).map(labelled));
    if (outcome?.has_report) {
      parts.more.append(element("a", { href: `${this.path}/report`, target: "_blank", rel: "noopener" },
        "Report of this run"));
    }
    parts.more.hidden = parts.more.textContent === "";
  }

  /** What a screen reader says: changes of phase, not every percent. */
  spoken() {
    const { state } = this;
    const phase = state.work === "flashing" && state.question === null && state.progress
      ? `, ${state.progress.phase}` : "";
    return `${state.name}: ${this.line()[1]}${phase}`;
  }

  showQuestion(before) {
    const { state, parts } = this;
    const { question } = state;
    const hadFocus = parts.question.contains(document.activeElement);
    parts.question.hidden = question === null;
    if (question === null) {
      if (hadFocus) {
        parts.stop.focus();
      }
      return;
    }
    parts["question-title"].textContent = `Erase ${question.ecu}?`;
    parts["question-lines"].textContent = question.lines.join("\n");
    const isNew = before.question === null || before.question.number !== question.number;
    if (isNew && this.element.contains(document.activeElement)) {
      parts.question.focus();
    }
  }

  showProgress() {
    const { state, parts } = this;
    const isSeen = state.work !== "nothing" && state.question === null && state.progress !== null;
    parts.work.hidden = !isSeen;
    if (!isSeen) {
      return;
    }
    const { progress } = state;
    parts.bar.value = progress.share;
    const percent = `${Math.floor(progress.share * 100)} %`;
    const left = progress.seconds_left === null ? "" : `about ${leftText(progress.seconds_left)} left`;
    const bytes = progress.bytes_total > 0
      ? `${progress.bytes_done.toLocaleString("en-US")} of ${countText(progress.bytes_total, "byte")}` : "";
    const rate = bytes && rateText(progress.bytes_a_second, 1);
    const again = progress.repeated > 0 ? `${countText(progress.repeated, "request")} asked again` : "";
    // Two lines, whatever the numbers: what is below stays where it is.
    parts.numbers.textContent = [[percent, progress.phase, left], [bytes, rate, again]]
      .map((line) => line.filter(Boolean).join(" · ")).join("\n");
  }

  showImage() {
    const { state, parts } = this;
    const { image } = state;
    parts.plan.hidden = image === null;
    if (image === null) {
      this.imageNumber = 0;
      return;
    }
    if (image.number !== this.imageNumber) {
      this.imageNumber = image.number;
      this.showFacts(image);
      this.loadMemory(image.number);
    }
    this.draw();
  }

  showFacts(image) {
    const facts = [["Image", image.name], ["Size", `${countText(image.image_bytes, "byte")} in `
      + countText(image.segments, "segment")],
    ["Addresses", `${addressText(image.first)} to ${addressText(image.last)}`],
    ["To send", `${countText(image.sent_bytes, "byte")} in ${countText(image.blocks, "block")}`],
    ["Left out as fill", countText(image.image_bytes - image.sent_bytes, "byte")],
    ["Time on the wire", timeText(image.wire_seconds)], ["SHA-256", image.sha256]];
    this.parts.facts.replaceChildren(...facts.map(([name, value]) => {
      const fact = element("div");
      fact.append(element("dt", {}, name), element("dd", {}, value));
      return fact;
    }));
  }

  async loadMemory(number) {
    try {
      const { memory } = await get(`${this.path}/memory`);
      if (number === this.imageNumber) {
        this.ranges = memory;
        this.draw();
      }
    } catch (error) {
      this.showProblem(error.message);
    }
  }

  draw() {
    const { progress, outcome } = this.state;
    let ranges = this.ranges;
    if (progress !== null) {
      const isWritten = AFTER_DOWNLOAD.has(progress.phase);
      ranges = painted(ranges, isWritten ? Infinity : progress.phase === "download" ? progress.bytes_done : 0, "written");
      if (outcome !== null && outcome.state !== "done" && progress.phase === "download") {
        ranges = ranges.map(([start, count, was]) => [start, count, was === "planned" ? "erased" : was]);
      }
      if (outcome?.state === "done" && this.state.verifies) {
        ranges = painted(ranges, Infinity, "verified");
      }
    }
    this.map.show(ranges);
    this.map.draw();
  }

  showChoice() {
    this.parts.choose.textContent = this.state.image === null ? "choose a file" : "choose another file";
    this.parts.drop.hidden = this.state.work !== "nothing";
    if (this.state.work !== "nothing") {
      this.parts.base.hidden = true;
    }
  }

  showButtons() {
    const { state, parts } = this;
    const isFree = state.work === "nothing";
    // A button that is off keeps the focus, so that the keyboard stays where it is.
    const set = (name, isOn) => parts[name].setAttribute("aria-disabled", String(!isOn));
    set("identify", isFree);
    set("flash", isFree && state.image !== null);
    set("stop", !isFree && !state.is_stopping);
    set("unload", isFree && state.image !== null);
  }

  async showLog() {
    const { state, parts } = this;
    parts.details.hidden = state.log_lines === 0;
    if (!parts.details.open || state.log_lines === this.logLines) {
      return;
    }
    this.logLines = state.log_lines;
    try {
      const { lines } = await get(`${this.path}/log`);
      parts.log.textContent = lines.join("\n");
    } catch (error) {
      this.showProblem(error.message);
    }
  }

  async copyLog() {
    try {
      await navigator.clipboard.writeText(this.parts.log.textContent);
      this.parts.copy.textContent = "Copied";
      setTimeout(() => { this.parts.copy.textContent = "Copy"; }, 2000);
    } catch {
      this.showProblem("The browser does not let this page copy. Select the text of the log instead.");
    }
  }
}
