// SPDX-License-Identifier: MIT
// What the page is told: columns in JSON, the frames packed. Here they become typed arrays, so that
// hundreds of thousands of frames are quick to walk.

"use strict";

const OUTCOMES = ["answered", "refused", "no answer", "damaged"];
const ANSWERED = 0;

const FRAME_KINDS = ["single frame", "first frame", "consecutive frame", "flow control", "piece",
  "acknowledgement", "message", "stray frame"];

/** Reads numbers of 7 bits a byte, the low ones first. */
class PackedReader {
  constructor(base64) {
    const text = atob(base64);
    this.bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) {
      this.bytes[i] = text.charCodeAt(i);
    }
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

  skip(count) {
    this.at += count;
    return this.at - count;
  }
}

/** The frames, each with its place in `bytes` and that of its service bytes. */
function unpackFrames(packed) {
  const reader = new PackedReader(packed.base64);
  const count = packed.count;
  const frames = {
    count, bytes: reader.bytes,
    at: new Float64Array(count), message: new Uint32Array(count), kind: new Uint8Array(count),
    toEcu: new Uint8Array(count), start: new Uint32Array(count), size: new Uint16Array(count),
    payloadAt: new Uint16Array(count), payloadSize: new Uint16Array(count),
  };
  let time = 0;
  let message = 0;
  for (let i = 0; i < count; ++i) {
    time += reader.number();
    message += reader.signed();
    const role = reader.number();
    frames.at[i] = time / 1e6;
    frames.message[i] = message;
    frames.kind[i] = role >> 1;
    frames.toEcu[i] = role & 1;
    frames.payloadAt[i] = reader.number();
    frames.payloadSize[i] = reader.number();
    frames.size[i] = reader.number();
    frames.start[i] = reader.skip(frames.size[i]);
  }
  return frames;
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

function loadModel(data) {
  const frames = unpackFrames(data.frames);
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
