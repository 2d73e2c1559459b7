// SPDX-License-Identifier: MIT
// Puts the page together.

import { Bay } from "./bay.js";
import { asksForPassword, get, listen, logIn, openSession } from "./connection.js";
import { RunHistory } from "./history.js";

const LINKS = {
  there: "",
  locked: "",
  lost: "The station does not answer. What its bays do goes on without this page; it tries to reach the station again.",
  stranger: "This page was opened without the token of the station, or the station was started again. Open the address "
    + "that it has printed.",
};

/** What a stranger needs: the password, or the address of the station. */
async function showWayIn() {
  const form = document.getElementById("login");
  form.hidden = !await asksForPassword().catch(() => false);
  showLink(form.hidden ? "stranger" : "locked");
  if (form.hidden) {
    return;
  }
  const password = document.getElementById("password");
  const problem = document.getElementById("login-problem");
  password.focus();
  form.onsubmit = async (event) => {
    event.preventDefault();
    problem.textContent = "";
    try {
      await logIn(password.value);
      location.reload();
    } catch (error) {
      problem.textContent = error.message;
      password.select();
    }
  };
}

function showLink(link) {
  const problem = document.getElementById("problem");
  if (problem.textContent !== LINKS[link]) {
    problem.textContent = LINKS[link];
  }
  problem.hidden = LINKS[link] === "";
  document.body.dataset.link = link;
  document.getElementById("bays").inert = link !== "there";
}

function showTitle(bays) {
  const busy = bays.filter((bay) => bay.state.work !== "nothing").length;
  const asking = bays.some((bay) => bay.state.question !== null);
  document.title = `${asking ? "A question · " : busy > 0 ? `${busy} at work · ` : ""}Station · Quillmark`;
}

async function main() {
  const bays = [];
  let runs = null;
  try {
    await openSession();
    const state = await get("/api/state");
    const place = document.getElementById("bays");
    for (const each of state.bays) {
      const bay = new Bay(each);
      bays.push(bay);
      place.append(bay.element);
      bay.show(each);
    }
    if (state.has_records) {
      runs = new RunHistory(state.has_server);
      runs.load();
    }
    showTitle(bays);
  } catch (error) {
    if (error.status === 401) {
      await showWayIn();
    } else {
      showLink("lost");
      setTimeout(() => location.reload(), 2000);
    }
    return;
  } finally {
    document.body.setAttribute("aria-busy", "false");
  }
  listen((state) => {
    const had = bays[state.bay].state.outcome;
    bays[state.bay].show(state);
    showTitle(bays);
    if (runs !== null && state.outcome !== null && had === null) {
      runs.load();
    }
  }, (link) => link === "stranger" ? showWayIn() : showLink(link));
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => {
    bays.forEach((bay) => bay.draw());
    runs?.draw();
  });
  // A file that misses its bay must not replace the page.
  for (const kind of ["dragover", "drop"]) {
    window.addEventListener(kind, (event) => event.preventDefault());
  }
}

main();
