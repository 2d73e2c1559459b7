// SPDX-License-Identifier: MIT
// The way to the station: the token of the address or a password, requests and events.

/* global shown */

/** What the station refuses; the message is for people. */
export class Refusal extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

async function send(path, options) {
  let answer;
  try {
    answer = await fetch(path, options);
  } catch {
    throw new Refusal(0, "The station does not answer.");
  }
  if (answer.ok) {
    return answer.status === 204 ? {} : shown(await answer.json());
  }
  let text = `The station answered with ${answer.status}.`;
  try {
    text = shown(await answer.json()).error;
  } catch {
    // Whatever it was, the status says enough.
  }
  throw new Refusal(answer.status, text);
}

function pathOf(path, query) {
  const words = new URLSearchParams(query).toString();
  return words ? `${path}?${words}` : path;
}

export function get(path, query = {}) {
  return send(pathOf(path, query), {});
}

export function post(path, query = {}, body = undefined) {
  return send(pathOf(path, query), { method: "POST", body });
}

/** Exchanges the token of the address for a cookie, and takes it out of sight. */
export async function openSession() {
  const token = new URLSearchParams(location.hash.slice(1)).get("token");
  if (token !== null) {
    history.replaceState(null, "", location.pathname);
    await post("/api/session", {}, token);
  }
}

/** Whether the station asks strangers for a password, and not for the token of its address. */
export async function asksForPassword() {
  return (await get("/api/session")).asks === "password";
}

/** Exchanges the password for a cookie. */
export function logIn(password) {
  return post("/api/session", {}, password);
}

const AGAIN_MILLISECONDS = 1000;

/** Calls `onBay` with each state of a bay, and `onLink` with whether the station is there and whether it knows us. */
export function listen(onBay, onLink) {
  const source = new EventSource("/api/events");
  source.onopen = () => onLink("there");
  source.onmessage = (event) => onBay(shown(JSON.parse(event.data)));
  source.onerror = async () => {
    source.close();
    let link = "lost";
    try {
      await get("/api/state");
    } catch (error) {
      link = error.status === 401 ? "stranger" : "lost";
    }
    onLink(link);
    if (link === "lost") {
      setTimeout(() => listen(onBay, onLink), AGAIN_MILLISECONDS);
    }
  };
}
