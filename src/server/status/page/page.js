"use strict";

// Shows the state that the server sends once per second. Texts from clients are inserted as text, never as HTML.

const RETRY_MS = 5000;
const STALE_MS = 5000;

const byId = (id) => document.getElementById(id);

// Characters that are invisible or change the writing direction are shown as escapes.
const UNSAFE = /[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]/g;
const visible = (text) => text.replace(UNSAFE, (c) => "\\u" + c.charCodeAt(0).toString(16).padStart(4, "0"));

const fromHex = (hex) =>
  hex.replace(/../g, (pair) => {
    const code = parseInt(pair, 16);
    return code >= 0x20 && code < 0x7f ? String.fromCharCode(code) : "\\x" + pair;
  });

// Returns a text of a row. A text that is not UTF-8 is sent in hexadecimal.
const text = (row, key) => (key in row ? visible(row[key]) : fromHex(row[key + "_hex"] || ""));

const UNITS = ["B", "KB", "MB", "GB", "TB", "PB"];
function bytes(count) {
  let unit = 0;
  for (; count >= 1000 && unit + 1 < UNITS.length; ++unit) count /= 1000;
  return (unit === 0 || count >= 100 ? Math.round(count) : count.toFixed(1)) + " " + UNITS[unit];
}
const rate = (count) => bytes(Math.round(count)) + "/s";

function duration(seconds) {
  const whole = Math.max(0, Math.floor(seconds));
  if (whole < 60) return whole + " s";
  if (whole < 3600) return Math.floor(whole / 60) + " min " + (whole % 60) + " s";
  if (whole < 86400) return Math.floor(whole / 3600) + " h " + Math.floor((whole % 3600) / 60) + " min";
  return Math.floor(whole / 86400) + " d " + Math.floor((whole % 86400) / 3600) + " h";
}
// The date is shown only if it is not today.
function clock(ms) {
  const time = new Date(ms);
  const isToday = time.toDateString() === new Date().toDateString();
  return (isToday ? "" : time.toLocaleDateString() + " ") + time.toLocaleTimeString([], { hour12: false });
}

const instance = (row) => text(row, "class") + "#" + row.number;
const who = (row) => text(row, "computer") + " / " + text(row, "user");

const TABLES = {
  transfers: {
    empty: "Nothing is being transferred.",
    columns: [
      ["", (row) => (row.direction === "get" ? "\u2193 get" : "\u2191 put")],
      ["File", (row) => text(row, "name"), "text"],
      ["Client", who],
      ["Address", (row) => text(row, "address")],
      ["Bytes", (row) => bytes(row.bytes), "number"],
      ["Rate", (row) => rate(row.rate), "number"],
      ["For", (row) => duration(row.seconds), "number"],
    ],
  },
  clients: {
    empty: "No clients are connected.",
    columns: [
      ["Client", who],
      ["Instance", instance],
      ["Address", (row) => text(row, "address")],
      ["Since", (row) => clock(row.since)],
      ["Requests", (row) => row.requests, "number"],
      ["Received", (row) => bytes(row.received), "number"],
      ["Sent", (row) => bytes(row.sent), "number"],
      ["Locks", (row) => row.locks, "number"],
    ],
  },
  locks: {
    empty: "Nothing is locked.",
    columns: [
      ["Object", (row) => text(row, "object"), "text"],
      ["Owner", who],
      ["Instance", instance],
      ["Address", (row) => text(row, "address")],
      ["Process", (row) => row.pid, "number"],
      ["Owner is", (row) => (row.alive ? "alive" : "dead"), (row) => (row.alive ? "good" : "bad")],
    ],
  },
  refusals: {
    empty: "No connections have been refused.",
    columns: [
      ["Time", (row) => clock(row.time)],
      ["Address", (row) => text(row, "address")],
      ["Client", (row) => text(row, "who")],
      ["Reason", (row) => row.reason],
    ],
  },
};

const TILES = [
  ["Clients", (s) => [s.totals.clients, "of " + s.totals.clients_limit]],
  ["Transfers", (s) => [s.totals.transfers, "running"]],
  ["Locks", (s) => [s.totals.held_locks, "held by clients"]],
  ["Received", (s) => [rate(s.totals.received_rate), bytes(s.totals.received) + " in all"]],
  ["Sent", (s) => [rate(s.totals.sent_rate), bytes(s.totals.sent) + " in all"]],
  ["Waiting", (s) => {
    const waiting = s.totals.waiting;
    return [[waiting.files, waiting.hashing, waiting.engine].join(" \u00b7 "), "files \u00b7 hashing \u00b7 locks"];
  }],
  ["Free space", (s) => [s.store.size > 0 ? bytes(s.store.free) : "?", s.store.size > 0 ? "of " + bytes(s.store.size) : ""]],
];

function element(name, content, className) {
  const made = document.createElement(name);
  made.textContent = content;
  if (className) made.className = className;
  return made;
}

function row(cells) {
  const made = document.createElement("tr");
  made.append(...cells);
  return made;
}

// The table is rebuilt only if its rows have changed, so that a selection of text lasts.
function showTable(id, rows) {
  const table = byId(id);
  const shown = JSON.stringify(rows);
  if (table.shown === shown) return;
  table.shown = shown;
  const { columns, empty } = TABLES[id];
  const head = document.createElement("thead");
  const body = document.createElement("tbody");
  head.append(row(columns.map(([title, , kind]) => element("th", title, kind === "number" ? kind : ""))));
  for (const entry of rows) {
    body.append(row(columns.map(([, value, kind]) =>
      element("td", value(entry), typeof kind === "function" ? kind(entry) : kind))));
  }
  if (rows.length === 0) {
    const cell = element("td", empty, "empty");
    cell.colSpan = columns.length;
    body.append(row([cell]));
  }
  table.replaceChildren(head, body);
}

function showCount(id, rows, total) {
  byId(id + "-count").textContent = rows.length < total ? "the first " + rows.length + " of " + total : "";
}

function show(state) {
  const name = text(state.server, "name") || "tvlserver";
  document.title = name;
  byId("name").textContent = name;
  byId("about").textContent =
    "tvlserver " + state.server.version + ", up " + duration((state.server.time - state.server.started) / 1000);
  byId("problem").textContent = state.store.problem;
  byId("problem").hidden = state.store.problem === "";
  byId("tiles").replaceChildren(...TILES.map(([title, value]) => {
    const [main, detail] = value(state);
    const tile = document.createElement("div");
    const content = element("dd", main + " ");
    content.append(element("small", detail));
    tile.append(element("dt", title), content);
    return tile;
  }));
  for (const id of Object.keys(TABLES)) showTable(id, state[id]);
  showCount("transfers", state.transfers, state.totals.transfers);
  showCount("clients", state.clients, state.totals.clients);
  byId("locks-count").textContent = state.store.more_locks ? "the first " + state.locks.length : "";
}

function showState(className, label) {
  byId("state").className = className;
  byId("state").textContent = label;
}

let lastEvent = 0;

function connect() {
  const events = new EventSource("/events");
  events.onmessage = (event) => {
    lastEvent = Date.now();
    show(JSON.parse(event.data));
    showState("live", "live");
  };
  events.onerror = () => {
    showState("waiting", "reconnecting");
    // The browser retries a lost connection itself, but not an answer other than a stream.
    if (events.readyState === EventSource.CLOSED) setTimeout(connect, RETRY_MS);
  };
}

setInterval(() => {
  if (byId("state").className === "live" && Date.now() - lastEvent > STALE_MS) showState("waiting", "no updates");
}, 1000);
connect();
