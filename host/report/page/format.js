// SPDX-License-Identifier: MIT
// Numbers and bytes as text.

const HEX = Array.from({ length: 256 }, (_, byte) => byte.toString(16).toUpperCase().padStart(2, "0"));

function hexText(bytes, from, to, most = Infinity) {
  const end = Math.min(to, from + most);
  const words = [];
  for (let i = from; i < end; ++i) {
    words.push(HEX[bytes[i]]);
  }
  return words.join(" ") + (end < to ? " …" : "");
}

function addressText(address) {
  return "0x" + address.toString(16).toUpperCase().padStart(6, "0");
}

function countText(count, noun) {
  return `${count.toLocaleString("en-US")} ${noun}${count === 1 ? "" : "s"}`;
}

function timeText(seconds) {
  if (seconds < 0.0995) {
    return `${(seconds * 1000).toFixed(seconds < 0.00995 ? 2 : 1)} ms`;
  }
  if (seconds < 99.95) {
    return `${seconds.toFixed(2)} s`;
  }
  const whole = Math.round(seconds);
  return `${Math.floor(whole / 60)}:${String(whole % 60).padStart(2, "0")} min`;
}

function clockText(seconds) {
  return seconds.toFixed(6);
}

function rateText(bytes, seconds) {
  if (bytes === 0 || seconds <= 0) {
    return "–";
  }
  const rate = bytes / seconds;
  return rate < 1000 ? `${rate.toFixed(0)} B/s` : `${(rate / 1000).toFixed(1)} kB/s`;
}

// Control characters, and what would reorder the text around it: as on the terminal.
const OBEYED = /[\u0000-\u0009\u000b-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]/g;

/** A value of JSON with the texts in it made such that every character is seen. */
function shown(value) {
  if (typeof value === "string") {
    return value.replace(OBEYED, (one) => `\\u${one.charCodeAt(0).toString(16).padStart(4, "0")}`);
  }
  if (Array.isArray(value)) {
    // Columns of numbers are long.
    return typeof value[0] === "number" ? value : value.map(shown);
  }
  return value instanceof Object
    ? Object.fromEntries(Object.entries(value).map(([name, inner]) => [name, shown(inner)])) : value;
}

/** A new element with text and attributes. */
function element(name, attributes = {}, text = "") {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    made.setAttribute(key, value);
  }
  made.textContent = text;
  return made;
}
