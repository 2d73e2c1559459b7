// SPDX-License-Identifier: MIT
// Puts the page together.

function fillFacts(facts) {
  document.getElementById("facts").replaceChildren(...facts.map(([name, value]) => {
    const fact = element("div");
    fact.append(element("dt", {}, name), element("dd", {}, value));
    return fact;
  }));
}

function fillAdvice(advice) {
  const place = document.getElementById("advice");
  place.textContent = advice;
  place.hidden = advice === "";
}

function fillWarnings(warnings) {
  const place = document.getElementById("warnings");
  place.replaceChildren(...warnings.map((warning) => element("li", {}, warning)));
  place.hidden = warnings.length === 0;
}

function rateRow(phase) {
  const seconds = phase.ended - phase.began;
  const share = seconds > 0 ? Math.min(1, phase.wire / seconds) : 0;
  const row = element("tr");
  const gauge = element("span", { class: "gauge" });
  const bar = element("i", { "aria-hidden": "true" });
  const filled = element("b");
  filled.style.width = `${share * 100}%`;
  bar.append(filled);
  gauge.append(bar, element("span", {}, phase.wire > 0 ? `${(share * 100).toFixed(0)} %` : "–"));
  const inUse = element("td");
  inUse.append(gauge);
  row.append(element("th", { scope: "row" }, phase.name),
    element("td", { class: "number" }, timeText(seconds)),
    element("td", { class: "number" }, phase.bytes ? countText(phase.bytes, "byte") : "–"),
    element("td", { class: "number" }, rateText(phase.bytes, seconds)),
    element("td", { class: "number" }, rateText(phase.bytes, phase.wire)), inUse);
  return row;
}

/** On paper stand what went wrong and how it began and ended; the rest is for the screen. */
function fillPrintRows(model, table) {
  const most = 24;
  const { exchanges } = model;
  const wanted = new Set(findExchanges(model, "", true).slice(0, most));
  for (let i = 0; i < Math.min(most, exchanges.count); ++i) {
    wanted.add(i);
    wanted.add(exchanges.count - 1 - i);
  }
  const body = element("tbody");
  let last = -1;
  for (const i of [...wanted].sort((a, b) => a - b)) {
    if (i > last + 1) {
      const gap = element("tr");
      gap.append(element("td", { colspan: 4 }, `… ${countText(i - last - 1, "exchange")} …`));
      body.append(gap);
    }
    const { at, took, what, state } = table.exchange(i);
    const row = element("tr", { class: state });
    row.append(element("td", { class: "number" }, at), element("td", { class: "number" }, took), element("td", {}, what));
    body.append(row);
    last = i;
  }
  const paperTable = element("table");
  paperTable.append(body);
  document.getElementById("print-rows").append(paperTable);
}

function connectSearch(model, table) {
  const search = document.getElementById("search");
  const onlyFailed = document.getElementById("only-failed");
  const matches = document.getElementById("matches");
  const update = () => {
    const found = findExchanges(model, search.value, onlyFailed.checked);
    table.show(found);
    const all = countText(model.exchanges.count, "exchange");
    matches.textContent = found.length === model.exchanges.count ? all
      : `${found.length.toLocaleString("en-US")} of ${all}`;
  };
  search.addEventListener("input", update);
  onlyFailed.addEventListener("change", update);
  document.addEventListener("keydown", (event) => {
    if (event.key === "/" && event.target !== search) {
      event.preventDefault();
      search.focus();
    }
  });
  update();
  return () => {
    search.value = "";
    onlyFailed.checked = false;
    update();
  };
}

function show(model) {
  const find = (id) => document.getElementById(id);
  fillFacts(model.facts);
  fillAdvice(model.advice);
  fillWarnings(model.warnings);
  find("rate-rows").replaceChildren(...model.phases.map(rateRow));

  const table = new ExchangeTable(model, find("grid"), find("grid-rows"));
  const showAll = connectSearch(model, table);
  fillPrintRows(model, table);
  const reveal = (exchange) => {
    if (!table.reveal(exchange)) {
      showAll();
      table.reveal(exchange);
    }
    find("grid").focus({ preventScroll: true });
    find("grid").scrollIntoView({ block: "nearest" });
  };

  // The report of a failure opens at what failed.
  const [failed] = findExchanges(model, "", true);
  if (failed !== undefined) {
    table.reveal(failed);
  }

  const memory = new MemoryMap(model, find("memory-map"), find("memory-readout"), find("memory-legend"));
  const time = new TimeAxis(model, find("time-axis"), find("time-readout"), find("time-legend"), reveal);
  find("memory").hidden = memory.ranges.length === 0;
  makeNavigable(memory, find("memory-map"), document.querySelector('[data-tools="memory"]'), "memory");
  makeNavigable(time, find("time-axis"), document.querySelector('[data-tools="time"]'), "time");

  const redraw = () => { memory.draw(); time.draw(); };
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", redraw);
  window.addEventListener("beforeprint", () => { paper.isUsed = true; redraw(); });
  window.addEventListener("afterprint", () => { paper.isUsed = false; redraw(); });
  redraw();
}

async function main() {
  const outcome = document.querySelector("#outcome > :last-child");
  outcome.textContent = shown(outcome.textContent);
  try {
    show(await loadModel());
  } catch (error) {
    if (!(error instanceof ProblemForReader)) {
      throw error;
    }
    const problem = document.getElementById("problem");
    problem.textContent = error.message;
    problem.hidden = false;
  } finally {
    document.body.setAttribute("aria-busy", "false");
  }
}

main();
