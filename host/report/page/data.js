// SPDX-License-Identifier: MIT
// What the page is told: one deflate stream in base64, with columns in JSON and the frames in packed columns. Here they
// become typed arrays, so that hundreds of thousands of frames are quick to walk.

"use strict";

const OUTCOMES = ["answered", "refused", "no answer", "damaged"];
const ANSWERED = 0;

const FRAME_KINDS = ["single frame", "first frame", "consecutive frame", "flow control", "piece",
  "acknowledgement", "message", "stray frame"];

/** Reads numbers of 7 bits a byte, the low ones first. */
class PackedReader {
  constructor(bytes) {
    this.bytes = bytes;
    this.at = 0;
  }

  number() {
    let value = 0;
    for (let scale = 1; ; scale *= 128) {
      const byte = this.bytes[this.at++];
      value += (byte & 127) * scale;
      if (byte < 128) {
        return value;
      }
    }
  }

  signed() {
    const value = this.number();
    return value % 2 === 0 ? value / 2 : -(value + 1) / 2;
  }

  take(count) {
    this.at += count;
    return this.bytes.subarray(this.at - count, this.at);
  }
}

class ProblemForReader extends Error {}

function bytesOfBase64(base64) {
  const text = atob(base64);
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; ++i) {
    bytes[i] = text.charCodeAt(i);
  }
  return bytes;
}

function makeInflater() {
  try {
    return new DecompressionStream("deflate-raw");
  } catch {
    throw new ProblemForReader("This browser is too old to show the details of the report, which are packed. Chromium 103, "
      + "Firefox 113, Safari 16.4 and later can.");
  }
}

/** The bytes that the element `id` has as a deflate stream in base64. */
async function inflate(id) {
  const inflater = makeInflater();
  try {
    const packed = bytesOfBase64(document.getElementById(id).textContent);
    const stream = new Blob([packed]).stream().pipeThrough(inflater);
    return new Uint8Array(await new Response(stream).arrayBuffer());
  } catch {
    throw new ProblemForReader("The details of the report cannot be unpacked: the file is cut off or was changed. Make the "
      + "report again.");
  }
}

/** The frames, each with its place in `bytes` and that of its service bytes. */
function unpackFrames(reader, count) {
  const frames = {
    count, at: new Float64Array(count), message: new Uint32Array(count), kind: new Uint8Array(count),
    toEcu: new Uint8Array(count), start: new Uint32Array(count), size: new Uint16Array(count),
    payloadAt: new Uint16Array(count), payloadSize: new Uint16Array(count),
  };
  const column = (read) => {
    for (let i = 0; i < count; ++i) {
      read(i);
    }
  };
  let time = 0;
  column((i) => { frames.at[i] = (time += reader.number()) / 1e6; });
  let message = 0;
  column((i) => { frames.message[i] = message += reader.signed(); });
  column((i) => {
    const role = reader.number();
    frames.kind[i] = role >> 1;
    frames.toEcu[i] = role & 1;
  });
  column((i) => { frames.payloadAt[i] = reader.number(); });
  column((i) => { frames.payloadSize[i] = reader.number(); });
  let bytes = 0;
  let framing = 0;
  column((i) => {
    frames.start[i] = bytes;
    frames.size[i] = reader.number();
    bytes += frames.size[i];
    framing += frames.size[i] - frames.payloadSize[i];
  });
  frames.bytes = joinBytes(frames, bytes, new PackedReader(reader.take(framing)), reader);
  return frames;
}

/** Puts the service bytes of each frame back between what frames them. */
function joinBytes(frames, total, framing, payloads) {
  const bytes = new Uint8Array(total);
  for (let i = 0; i < frames.count; ++i) {
    const payload = frames.start[i] + frames.payloadAt[i];
    const rest = payload + frames.payloadSize[i];
    bytes.set(framing.take(frames.payloadAt[i]), frames.start[i]);
    bytes.set(payloads.take(frames.payloadSize[i]), payload);
    bytes.set(framing.take(frames.start[i] + frames.size[i] - rest), rest);
  }
  return bytes;
}

/** Adds up: element i of the result is the sum of the first i counts. */
function offsetsOf(counts) {
  const offsets = new Uint32Array(counts.length + 1);
  for (let i = 0; i < counts.length; ++i) {
    offsets[i + 1] = offsets[i] + counts[i];
  }
  return offsets;
}

/** Messages with the frames and the service bytes of each. */
function gatherMessages(columns, frames) {
  const count = columns.text.length;
  const frameCounts = new Uint32Array(count);
  const byteCounts = new Uint32Array(count);
  for (let i = 0; i < frames.count; ++i) {
    ++frameCounts[frames.message[i]];
    byteCounts[frames.message[i]] += frames.payloadSize[i];
  }
  const firstFrame = offsetsOf(frameCounts);
  const firstByte = offsetsOf(byteCounts);
  const frameList = new Uint32Array(frames.count);
  const payload = new Uint8Array(firstByte[count]);
  const nextFrame = firstFrame.slice();
  const nextByte = firstByte.slice();
  for (let i = 0; i < frames.count; ++i) {
    const message = frames.message[i];
    frameList[nextFrame[message]++] = i;
    const from = frames.start[i] + frames.payloadAt[i];
    payload.set(frames.bytes.subarray(from, from + frames.payloadSize[i]), nextByte[message]);
    nextByte[message] += frames.payloadSize[i];
  }
  return { count, text: columns.text, toEcu: columns.toEcu, firstFrame, frameList, firstByte, payload };
}

/** Exchanges with their times. */
function gatherExchanges(columns, messages, frames) {
  const count = columns.messages.length;
  const firstMessage = offsetsOf(columns.messages);
  const began = new Float64Array(count);
  const ended = new Float64Array(count);
  for (let i = 0; i < count; ++i) {
    const first = messages.firstFrame[firstMessage[i]];
    const last = messages.firstFrame[firstMessage[i + 1]] - 1;
    began[i] = frames.at[messages.frameList[first]];
    ended[i] = frames.at[messages.frameList[last]];
  }
  return { ...columns, count, firstMessage, began, ended };
}

async function loadModel() {
  const reader = new PackedReader(await inflate("data"));
  const data = shown(JSON.parse(new TextDecoder().decode(reader.take(reader.number()))));
  const frames = unpackFrames(reader, data.frames);
  const messages = gatherMessages(data.messages, frames);
  const exchanges = gatherExchanges(data.exchanges, messages, frames);
  const last = exchanges.count > 0 ? exchanges.ended[exchanges.count - 1] : 0;
  return { ...data, frames, messages, exchanges, duration: Math.max(data.duration, last) };
}

/** The first index of ascending `values` whose value is at least `value`. */
function lowerBound(values, value) {
  let low = 0;
  let high = values.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (values[middle] < value) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}
