// SPDX-License-Identifier: MIT
// Which exchanges a text finds: by what their messages say, by an address in them, by their bytes.

function bytesOf(query) {
  const digits = query.replace(/^0x/, "").replace(/\s+/g, "");
  if (digits.length < 4 || digits.length % 2 !== 0 || /[^0-9a-f]/.test(digits)) {
    return null;
  }
  return Uint8Array.from(digits.match(/../g), (pair) => parseInt(pair, 16));
}

function addressOf(query) {
  return /^0x[0-9a-f]+$/.test(query) ? parseInt(query, 16) : null;
}

/** Marks the messages whose service bytes hold `wanted`. */
function markBytes(wanted, messages, marked) {
  const { payload, firstByte } = messages;
  let message = 0;
  for (let at = payload.indexOf(wanted[0]); at >= 0; at = payload.indexOf(wanted[0], at + 1)) {
    let length = 1;
    while (length < wanted.length && payload[at + length] === wanted[length]) {
      ++length;
    }
    if (length < wanted.length) {
      continue;
    }
    while (firstByte[message + 1] <= at) {
      ++message;
    }
    if (at + length <= firstByte[message + 1]) {
      marked[message] = 1;
    }
  }
}

/** The indices of the exchanges that fit. */
function findExchanges(model, text, onlyFailed) {
  const { messages, exchanges } = model;
  const query = text.trim().toLowerCase();
  const marked = new Uint8Array(messages.count);
  const address = addressOf(query);
  if (query !== "") {
    const textFits = model.texts.map((known) => known.toLowerCase().includes(query));
    for (let i = 0; i < messages.count; ++i) {
      marked[i] = textFits[messages.text[i]] ? 1 : 0;
    }
    const bytes = bytesOf(query);
    if (bytes) {
      markBytes(bytes, messages, marked);
    }
  }
  const found = [];
  for (let i = 0; i < exchanges.count; ++i) {
    if (onlyFailed && exchanges.outcome[i] === ANSWERED) {
      continue;
    }
    let fits = query === "" || (address !== null && exchanges.size[i] > 0
      && address >= exchanges.address[i] && address < exchanges.address[i] + exchanges.size[i]);
    for (let m = exchanges.firstMessage[i]; !fits && m < exchanges.firstMessage[i + 1]; ++m) {
      fits = marked[m] === 1;
    }
    if (fits) {
      found.push(i);
    }
  }
  return found;
}
