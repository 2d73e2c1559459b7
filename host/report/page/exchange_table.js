// SPDX-License-Identifier: MIT
// The table of exchanges, messages and frames. Only the rows that are seen exist.

const ROW_HEIGHT = 28;
const SPARE_ROWS = 8;
const LEVELS = ["exchange", "message", "frame"];
const BYTES_IN_ROW = 24;

class ExchangeTable {
  constructor(model, grid, holder) {
    this.model = model;
    this.grid = grid;
    this.holder = holder;
    this.openExchanges = new Set();
    this.openMessages = new Set();
    this.selected = 0;
    this.show(Uint32Array.from({ length: model.exchanges.count }, (_, i) => i));
    grid.addEventListener("scroll", () => this.draw());
    grid.addEventListener("keydown", (event) => this.onKey(event));
    grid.addEventListener("click", (event) => this.onClick(event));
    new ResizeObserver(() => this.draw()).observe(grid);
  }

  /** Shows these exchanges, closed or open as they were. */
  show(exchanges) {
    this.shown = exchanges;
    this.selected = 0;
    this.grid.scrollTop = 0;
    this.arrange();
  }

  /** A row is its level and the index of what it shows, in one number. */
  arrange() {
    const { firstMessage } = this.model.exchanges;
    const { firstFrame, frameList } = this.model.messages;
    const rows = [];
    for (const exchange of this.shown) {
      rows.push(exchange * 4);
      if (!this.openExchanges.has(exchange)) {
        continue;
      }
      for (let m = firstMessage[exchange]; m < firstMessage[exchange + 1]; ++m) {
        rows.push(m * 4 + 1);
        if (this.openMessages.has(m)) {
          for (let f = firstFrame[m]; f < firstFrame[m + 1]; ++f) {
            rows.push(frameList[f] * 4 + 2);
          }
        }
      }
    }
    this.rows = rows;
    this.holder.style.height = `${rows.length * ROW_HEIGHT}px`;
    this.grid.setAttribute("aria-rowcount", rows.length + 1);
    this.draw();
  }

  draw() {
    const head = this.holder.offsetTop;
    const first = Math.max(0, Math.floor((this.grid.scrollTop - head) / ROW_HEIGHT) - SPARE_ROWS);
    const last = Math.min(this.rows.length,
      Math.ceil((this.grid.scrollTop + this.grid.clientHeight) / ROW_HEIGHT) + SPARE_ROWS);
    const fragment = document.createDocumentFragment();
    for (let i = first; i < last; ++i) {
      fragment.append(this.rowElement(i));
    }
    if (this.rows.length === 0) {
      fragment.append(element("p", { class: "empty" }, "Nothing fits."));
    }
    this.holder.replaceChildren(fragment);
    if (this.rows.length > 0) {
      this.grid.setAttribute("aria-activedescendant", `row-${this.selected}`);
    } else {
      this.grid.removeAttribute("aria-activedescendant");
    }
  }

  rowElement(i) {
    const level = this.rows[i] % 4;
    const index = (this.rows[i] - level) / 4;
    const content = this[LEVELS[level]](index);
    const row = element("div", {
      class: "grid-row", role: "row", id: `row-${i}`, "data-row": i, "data-state": content.state || "",
      "aria-level": level + 1, "aria-rowindex": i + 2, "aria-selected": i === this.selected,
    });
    row.style.top = `${i * ROW_HEIGHT}px`;
    const what = element("span", { class: "what", role: "gridcell", title: content.what });
    if (content.isOpen !== undefined) {
      row.setAttribute("aria-expanded", content.isOpen);
      what.append(element("span", { class: "twist", "aria-hidden": "true" }, content.isOpen ? "▾" : "▸"));
    }
    what.append(content.what);
    row.append(element("span", { class: "number", role: "gridcell" }, content.at),
      element("span", { class: "number", role: "gridcell" }, content.took), what,
      element("span", { class: "bytes", role: "gridcell", title: content.bytes }, content.bytes));
    return row;
  }

  exchange(i) {
    const { exchanges, messages, texts } = this.model;
    const first = exchanges.firstMessage[i];
    const outcome = exchanges.outcome[i];
    const answer = outcome === ANSWERED ? "" : this.answerText(i);
    const pending = exchanges.pending[i] ? ` – pending ${countText(exchanges.pending[i], "time")}` : "";
    const again = exchanges.repeat[i] ? " – asked again" : "";
    return {
      at: clockText(exchanges.began[i]), took: timeText(exchanges.ended[i] - exchanges.began[i]),
      what: texts[messages.text[first]] + answer + pending + again, bytes: this.messageBytes(first),
      isOpen: this.openExchanges.has(i),
      state: outcome !== ANSWERED ? "bad" : exchanges.repeat[i] ? "again" : "",
    };
  }

  answerText(i) {
    const { exchanges, messages, texts } = this.model;
    const last = exchanges.firstMessage[i + 1] - 1;
    const hasReply = last > exchanges.firstMessage[i];
    return ` – ${hasReply ? texts[messages.text[last]] : OUTCOMES[exchanges.outcome[i]]}`;
  }

  message(m) {
    const { messages, frames, texts } = this.model;
    const first = frames.at[messages.frameList[messages.firstFrame[m]]];
    const last = frames.at[messages.frameList[messages.firstFrame[m + 1] - 1]];
    return {
      at: clockText(first), took: timeText(last - first),
      what: `${messages.toEcu[m] ? "to the ECU" : "from the ECU"}: ${texts[messages.text[m]]}`,
      bytes: this.messageBytes(m), isOpen: this.openMessages.has(m),
    };
  }

  messageBytes(m) {
    const { payload, firstByte } = this.model.messages;
    return hexText(payload, firstByte[m], firstByte[m + 1], BYTES_IN_ROW);
  }

  frame(f) {
    const { frames } = this.model;
    const start = frames.start[f];
    return {
      at: clockText(frames.at[f]), took: "",
      what: `${frames.toEcu[f] ? "→" : "←"} ${FRAME_KINDS[frames.kind[f]]}`,
      bytes: hexText(frames.bytes, start, start + frames.size[f]),
    };
  }

  /** Opens or closes a row; frames have nothing inside. */
  toggle(i, wanted) {
    const level = this.rows[i] % 4;
    const index = (this.rows[i] - level) / 4;
    const open = [this.openExchanges, this.openMessages][level];
    if (!open || open.has(index) === wanted) {
      return false;
    }
    if (open.has(index)) {
      open.delete(index);
    } else {
      open.add(index);
    }
    this.arrange();
    return true;
  }

  select(i) {
    if (this.rows.length === 0) {
      return;
    }
    this.selected = Math.min(Math.max(i, 0), this.rows.length - 1);
    const top = this.selected * ROW_HEIGHT;
    const seen = this.grid.clientHeight - this.holder.offsetTop;
    if (top < this.grid.scrollTop) {
      this.grid.scrollTop = top;
    } else if (top + ROW_HEIGHT > this.grid.scrollTop + seen) {
      this.grid.scrollTop = top + ROW_HEIGHT - seen;
    }
    this.draw();
  }

  /** Opens an exchange and goes there; false where the search hides it. */
  reveal(exchange) {
    if (this.rows.indexOf(exchange * 4) < 0) {
      return false;
    }
    this.openExchanges.add(exchange);
    this.arrange();
    const row = this.rows.indexOf(exchange * 4);
    // Near the top, so that its messages are seen as well.
    this.grid.scrollTop = (row - 4) * ROW_HEIGHT;
    this.select(row);
    return true;
  }

  parentOf(i) {
    const level = this.rows[i] % 4;
    let at = i;
    while (at > 0 && level > 0 && this.rows[at] % 4 >= level) {
      --at;
    }
    return at;
  }

  onKey(event) {
    const page = Math.max(1, Math.floor(this.grid.clientHeight / ROW_HEIGHT) - 2);
    const keys = {
      "ArrowDown": () => this.select(this.selected + 1), "ArrowUp": () => this.select(this.selected - 1),
      "PageDown": () => this.select(this.selected + page), "PageUp": () => this.select(this.selected - page),
      "Home": () => this.select(0), "End": () => this.select(this.rows.length - 1),
      "ArrowRight": () => this.toggle(this.selected, true) || this.select(this.selected + 1),
      "ArrowLeft": () => this.toggle(this.selected, false) || this.select(this.parentOf(this.selected)),
      "Enter": () => this.toggle(this.selected), " ": () => this.toggle(this.selected),
    };
    const act = keys[event.key];
    if (act && this.rows.length > 0 && !event.ctrlKey && !event.metaKey && !event.altKey) {
      event.preventDefault();
      act();
    }
  }

  onClick(event) {
    const row = event.target.closest(".grid-row");
    if (row) {
      this.selected = Number(row.dataset.row);
      if (!this.toggle(this.selected)) {
        this.draw();
      }
    }
  }
}
