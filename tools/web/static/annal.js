// What makes the page quicker to use; it works without. Nothing here turns a text into markup: elements are made one by
// one, and pages that are fetched come parsed.
"use strict";

const remembered = {
  get(name) {
    try {
      return localStorage.getItem(`annal-${name}`);
    } catch {
      return null; // the reader keeps nothing
    }
  },
  set(name, value) {
    try {
      localStorage.setItem(`annal-${name}`, value);
    } catch {
      // It holds for this page alone.
    }
  },
};

// Before anything is drawn, so that nothing changes its colours afterwards.
function applyLook() {
  const root = document.documentElement;
  const theme = remembered.get("theme");
  if (theme === "light" || theme === "dark") {
    root.dataset.theme = theme;
  } else {
    delete root.dataset.theme;
  }
  root.toggleAttribute("data-cut", remembered.get("messages") === "cut");
}
applyLook();

// --- times ---

const twoDigits = (number) => String(number).padStart(2, "0");

function browserTime(moment) {
  const date = new Date(moment);
  return (
    `${date.getFullYear()}-${twoDigits(date.getMonth() + 1)}-${twoDigits(date.getDate())} ` +
    `${twoDigits(date.getHours())}:${twoDigits(date.getMinutes())}:${twoDigits(date.getSeconds())}`
  );
}

function applyZone() {
  const browser = remembered.get("zone") === "browser";
  for (const time of document.querySelectorAll("time")) {
    time.dataset.stored ??= time.textContent;
    const known = !Number.isNaN(Date.parse(time.dateTime));
    time.textContent = browser && known ? browserTime(time.dateTime) : time.dataset.stored;
  }
  const zone = document.getElementById("zone");
  if (zone) {
    zone.dataset.stored ??= zone.textContent;
    const name = Intl.DateTimeFormat().resolvedOptions().timeZone;
    zone.textContent = zone.dataset.stored + (browser ? `; those of the entries are this browser's, ${name}` : "");
  }
  const width = document.querySelector("#histogram-title .quiet");
  if (width) {
    width.dataset.stored ??= width.textContent;
    width.textContent = width.dataset.stored + (browser ? ", in the appliance's time" : "");
  }
}

// --- settings ---

function settingsField(name, title, choices, apply) {
  const label = document.createElement("label");
  const select = document.createElement("select");
  for (const [value, text] of choices) {
    select.add(new Option(text, value));
  }
  const known = choices.some(([value]) => value === remembered.get(name));
  select.value = known ? remembered.get(name) : choices[0][0];
  select.id = `setting-${name}`;
  select.addEventListener("change", () => {
    remembered.set(name, select.value);
    apply();
  });
  label.append(`${title} `, select);
  return label;
}

function makeSettings() {
  const place = document.getElementById("settings");
  if (!place) {
    return;
  }
  const look = () => {
    applyLook();
    drawHistogram();
  };
  const menu = document.createElement("details");
  menu.className = "settings";
  const summary = document.createElement("summary");
  summary.textContent = "Settings";
  const fields = document.createElement("div");
  fields.className = "panel";
  menu.append(summary, fields);
  place.append(menu);
  menu.addEventListener("keydown", (event) => {
    if (event.key === "Escape") {
      menu.open = false;
      summary.focus();
    }
  });
  fields.append(
    settingsField("theme", "Colours", [["", "as the system"], ["light", "light"], ["dark", "dark"]], look),
    settingsField("zone", "Times", [["", "the appliance's"], ["browser", "this browser's"]], applyZone),
    settingsField("messages", "Long messages", [["", "whole"], ["cut", "on one line"]], look),
  );
}

// On a phone the filters would fill the first screen.
function closeFiltersOnPhone() {
  const filters = document.querySelector(".filters");
  if (filters && matchMedia("(max-width: 40rem)").matches) {
    filters.open = false;
  }
}

// How many entries a page has, and whether repeats are folded, is the address's to say; without a word it is as last.
function rememberAddress() {
  const asked = new URLSearchParams(location.search);
  if (location.search === "" && !location.pathname.includes("/download/")) {
    for (const name of ["rows", "fold"]) {
      const value = remembered.get(name);
      if (value) {
        asked.set(name, value);
      }
    }
    if (asked.size > 0) {
      location.replace(`?${asked}`);
    }
    return;
  }
  if (document.getElementById("live")) {
    remembered.set("rows", asked.get("rows") ?? "");
    remembered.set("fold", asked.get("fold") ?? "");
  }
}

// --- the histogram ---

let plot = null;
const CHART_HEIGHT = 150;

function wallText(seconds) {
  return new Date(seconds * 1000).toISOString().slice(0, 19).replace("T", " ");
}

function histogramData(section) {
  const width = Number(section.dataset.width);
  const counts = new Map();
  for (const row of section.querySelectorAll("tr[data-from]")) {
    counts.set(Number(row.dataset.from), row.dataset.counts.split(" ").map(Number));
  }
  const times = [...counts.keys()];
  const data = [[], [], [], []];
  for (let from = times[0]; from <= times[times.length - 1]; from += width) {
    const [information, warning, error] = counts.get(from) ?? [0, 0, 0];
    // Drawn one over the other, the highest first.
    data[0].push(from + width / 2);
    data[1].push(information + warning + error);
    data[2].push(warning + error);
    data[3].push(error);
  }
  return { width, data };
}

// As few words as tell the places of an axis apart.
function axisTexts(self, places, axis, space, step) {
  const day = 86400;
  return places.map((seconds) => {
    const text = wallText(seconds);
    if (step >= day) {
      return text.slice(0, 10);
    }
    return seconds % day === 0 ? text.slice(5, 10) : text.slice(11, step < 60 ? 19 : 16);
  });
}

function drawHistogram() {
  const section = document.getElementById("histogram");
  plot?.destroy();
  plot = null;
  if (!section || typeof uPlot === "undefined") {
    return;
  }
  const chart = section.querySelector(".chart");
  const { width, data } = histogramData(section);
  if (data[0].length === 0) {
    return;
  }
  const style = getComputedStyle(document.documentElement);
  const colour = (name) => style.getPropertyValue(`--${name}`).trim();
  const axis = { stroke: colour("quiet"), grid: { stroke: colour("line"), width: 0.5 }, ticks: { stroke: colour("line") } };
  const bars = uPlot.paths.bars({ size: [0.9, 60] });
  const series = (label, name) => ({ label, fill: colour(name), stroke: colour(name), width: 0, paths: bars, points: { show: false } });
  const half = width / 2;
  const showTime = (from, to) => {
    const asked = new URLSearchParams(section.dataset.brush);
    asked.set("since", wallText(from));
    asked.set("until", wallText(to - 1));
    location.assign(`?${asked}`);
  };
  const barStart = (seconds) => Math.floor(seconds / width) * width;
  const brush = (self) => {
    const { left, width: wide } = self.select;
    if (wide >= 2) {
      showTime(barStart(self.posToVal(left, "x")), barStart(self.posToVal(left + wide, "x") - 1) + width);
    }
  };
  const press = (self) => {
    const from = barStart(self.posToVal(self.cursor.left, "x"));
    if (self.select.width < 2 && data[1][(from + half - data[0][0]) / width] > 0) {
      showTime(from, from + width);
    }
  };
  const said = document.getElementById("bar");
  const tell = (self) => {
    const at = self.cursor.idx;
    if (self.cursor.left < 0 || at === null || at === undefined) {
      said.textContent = "";
      return;
    }
    const [all, worse, errors] = [data[1][at], data[2][at], data[3][at]];
    said.textContent =
      `${wallText(data[0][at] - half)}: ${all.toLocaleString("en")} ${all === 1 ? "entry" : "entries"}` +
      `, ${(worse - errors).toLocaleString("en")} warnings, ${errors.toLocaleString("en")} errors`;
  };
  chart.querySelector("svg")?.remove();
  chart.classList.add("drawn");
  const wholeNumbers = [1, 2, 5].flatMap((step) => [...Array(10).keys()].map((power) => step * 10 ** power)).sort((a, b) => a - b);
  plot = new uPlot(
    {
      width: chart.clientWidth,
      height: CHART_HEIGHT,
      padding: [6, 36, 0, 0], // room for half of the last label
      legend: { show: false },
      cursor: { y: false, drag: { x: true, y: false, setScale: false } },
      // The logs' times have no zone here: they are drawn as they are written.
      tzDate: (seconds) => uPlot.tzDate(new Date(seconds * 1000), "Etc/UTC"),
      scales: {
        x: { range: [data[0][0] - half, data[0][data[0].length - 1] + half] },
        y: { range: (self, low, high) => [0, Math.max(1, high)] },
      },
      axes: [
        { ...axis, space: 90, size: 32, values: axisTexts },
        { ...axis, size: 54, space: 28, incrs: wholeNumbers },
      ],
      series: [{}, series("information", "information"), series("warning", "warning"), series("error", "error")],
      hooks: { setSelect: [brush], setCursor: [tell], ready: [(self) => self.over.addEventListener("click", () => press(self))] },
    },
    data,
    chart,
  );
}

// --- following ---

function follow() {
  const interval = 2000;
  let state = null;
  const later = () => setTimeout(ask, interval);
  const busy = () => document.hidden || !document.getSelection().isCollapsed;
  // Or else a page that has stopped would look like one on which nothing is new.
  function tellIfLost(lost) {
    const said = document.getElementById("following");
    if (said && said.classList.contains("lost") !== lost) {
      said.dataset.usual ??= said.textContent;
      said.classList.toggle("lost", lost);
      said.textContent = lost ? "Following is interrupted: the server does not answer. Trying again." : said.dataset.usual;
    }
  }
  function show(fetched) {
    const fresh = fetched?.getElementById("live");
    const live = document.getElementById("live");
    if (!fresh || !live) {
      return;
    }
    const focused = document.activeElement?.closest("#live a[href]")?.getAttribute("href");
    const seen = new Set([...live.querySelectorAll(".entries tbody a")].map((link) => link.getAttribute("href")));
    const open = live.querySelector("#histogram details")?.open;
    live.replaceWith(document.adoptNode(fresh));
    const details = fresh.querySelector("#histogram details");
    if (details && open) {
      details.open = true;
    }
    for (const link of fresh.querySelectorAll(".entries tbody a")) {
      link.closest("tr").classList.toggle("new", seen.size > 0 && !seen.has(link.getAttribute("href")));
    }
    if (focused) {
      [...fresh.querySelectorAll("a")].find((link) => link.getAttribute("href") === focused)?.focus();
    }
    applyZone();
    drawHistogram();
  }
  function ask() {
    if (busy()) {
      later();
      return;
    }
    const request = new XMLHttpRequest();
    request.open("GET", location.href);
    // Parsed by the browser, with no script in it run.
    request.responseType = "document";
    if (state) {
      request.setRequestHeader("If-None-Match", state);
    }
    request.addEventListener("load", () => {
      tellIfLost(request.status !== 200 && request.status !== 304);
      if (request.status === 200) {
        state = request.getResponseHeader("ETag");
        show(request.responseXML);
      }
    });
    request.addEventListener("error", () => tellIfLost(true));
    request.addEventListener("loadend", later);
    request.send();
  }
  later();
}

// --- the keyboard ---

function moveRow(step) {
  const links = [...document.querySelectorAll(".entries tbody td:first-child a")];
  const at = links.indexOf(document.activeElement);
  const next = links[at < 0 ? (step > 0 ? 0 : links.length - 1) : at + step];
  next?.focus();
}

const keys = {
  "/": () => {
    const filters = document.querySelector(".filters");
    if (filters) {
      filters.open = true;
    }
    document.getElementById("search")?.focus();
  },
  j: () => moveRow(1),
  k: () => moveRow(-1),
  n: () => document.querySelector("[data-key=next]")?.click(),
  p: () => document.querySelector("[data-key=prev]")?.click(),
  f: () => document.querySelector("[data-key=follow]")?.click(),
  r: () => document.querySelector("[data-key=fold]")?.click(),
  u: () => document.querySelector("[data-key=back]")?.click(),
};

function listenToKeys() {
  document.addEventListener("keydown", (event) => {
    const typing = event.target.closest("input, select, textarea");
    if (typing || event.ctrlKey || event.metaKey || event.altKey || !Object.hasOwn(keys, event.key)) {
      return;
    }
    event.preventDefault();
    keys[event.key]();
  });
  const help = document.getElementById("keys");
  if (help) {
    help.hidden = false;
  }
}

document.addEventListener("DOMContentLoaded", () => {
  rememberAddress();
  makeSettings();
  closeFiltersOnPhone();
  applyZone();
  listenToKeys();
  drawHistogram();
  if (document.querySelector("#live[data-follow]")) {
    follow();
  }
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", drawHistogram);
  addEventListener("resize", () => plot?.setSize({ width: document.querySelector(".chart").clientWidth, height: CHART_HEIGHT }));
});
