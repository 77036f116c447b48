// The event timeline: one lane per analytic with a mark per event at its frame, coloured by analytic and kind,
// a filter by analytic and kind, and a chart of the running counts (crossings, passes, live tracks).
"use strict";

// Hue of each analytic of `vorn`; others get one from their name.
const ANALYTIC_HUES = { guard: 0, count: 210, track: 120, left: 30, bgsub: 275, plate: 55, trajectories: 180 };

function analyticHue(name) {
  if (name in ANALYTIC_HUES) return ANALYTIC_HUES[name];
  let h = 0;
  for (const c of name) h = (h * 31 + c.charCodeAt(0)) % 360;
  return h;
}

// Kinds of one analytic differ in lightness, in the order they first appear.
function kindColor(hue, kindIndex) {
  const light = [58, 38, 74, 28, 84][kindIndex % 5];
  return `hsl(${hue}, 80%, ${light}%)`;
}

// The running counts drawn in the chart: which events carry them and how to read them.
const COUNT_SERIES = [
  { name: "crossings", color: "#ff6b6b", analytic: "guard", value: (c) => (c.triggers ?? 0) + (c.crosses ?? 0) },
  { name: "passes", color: "#4fb3ff", analytic: "count", value: (c) => (c.from_area0 ?? 0) + (c.from_area1 ?? 0) },
  { name: "live tracks", color: "#6be07a", analytic: "track", value: (c) => c.live },
];

class Timeline {
  // onPick(index): a mark was clicked.
  constructor(root, events, frames, onPick) {
    this.events = events;
    this.frames = frames;
    this.onPick = onPick;
    this.filters = root.querySelector("#filters");
    this.lanes = root.querySelector("#lanes");
    this.chart = root.querySelector("#chart");
    this.legend = root.querySelector("#chart-legend");
    this.cursors = [];
    this.colors = new Map();  // "analytic/kind" -> colour
    this.build();
    this.series = this.countSeries();
    this.drawChart(-1);
  }

  position(frame) { return this.frames > 1 ? (100 * frame) / (this.frames - 1) : 0; }

  colorOf(e) { return this.colors.get(`${e.analytic}/${e.kind}`); }

  build() {
    const kinds = new Map();  // analytic -> [kind, ...] in order of appearance
    for (const e of this.events) {
      if (!kinds.has(e.analytic)) kinds.set(e.analytic, []);
      const list = kinds.get(e.analytic);
      if (!list.includes(e.kind)) list.push(e.kind);
    }
    const tracks = new Map();
    for (const [analytic, list] of kinds) {
      const hue = analyticHue(analytic);
      list.forEach((kind, i) => this.colors.set(`${analytic}/${kind}`, kindColor(hue, i)));
      const lane = document.createElement("div");
      lane.className = "lane";
      const name = document.createElement("span");
      name.className = "lane-name";
      name.textContent = analytic;
      const track = document.createElement("div");
      track.className = "lane-track";
      lane.append(name, track);
      this.lanes.append(lane);
      tracks.set(analytic, track);
      this.addCursor(track);
    }
    this.marks = this.events.map((e, i) => {
      const m = document.createElement("button");
      m.className = "mark";
      m.style.left = `${this.position(e.frame)}%`;
      m.style.background = this.colorOf(e);
      m.dataset.index = String(i);
      m.dataset.frame = String(e.frame);
      m.dataset.analytic = e.analytic;
      m.dataset.kind = e.kind;
      m.title = describe(e);
      m.addEventListener("click", () => this.pick(i));
      tracks.get(e.analytic).append(m);
      return m;
    });
    for (const [analytic, list] of kinds)
      for (const kind of list) {
        const count = this.events.filter((e) => e.analytic === analytic && e.kind === kind).length;
        const label = document.createElement("label");
        const box = document.createElement("input");
        box.type = "checkbox";
        box.checked = true;
        box.addEventListener("change", () => {
          for (const m of this.marks)
            if (m.dataset.analytic === analytic && m.dataset.kind === kind) m.classList.toggle("hidden", !box.checked);
        });
        const swatch = document.createElement("span");
        swatch.className = "swatch";
        swatch.style.background = this.colors.get(`${analytic}/${kind}`);
        label.append(box, swatch, `${analytic} ${kind} (${count})`);
        this.filters.append(label);
      }
    if (this.events.length === 0) this.filters.textContent = "no events (give them with --events FILE)";
  }

  addCursor(track) {
    const c = document.createElement("div");
    c.className = "cursor";
    track.append(c);
    this.cursors.push(c);
  }

  pick(i) {
    for (const m of this.marks) m.classList.toggle("chosen", m.dataset.index === String(i));
    this.onPick(i);
  }

  unpick() {
    for (const m of this.marks) m.classList.remove("chosen");
  }

  setFrame(frame) {
    for (const c of this.cursors) c.style.left = `${this.position(frame)}%`;
    this.drawChart(frame);
  }

  // Each series as steps [frame, value], from the events that carry its counts.
  countSeries() {
    const out = [];
    for (const s of COUNT_SERIES) {
      const steps = [];
      for (const e of this.events) {
        if (e.analytic !== s.analytic || !e.counts) continue;
        const v = s.value(e.counts);
        if (typeof v === "number" && isFinite(v)) steps.push([e.frame, v]);
      }
      if (steps.length) out.push({ ...s, steps });
    }
    this.legend.replaceChildren(...out.map((s) => {
      const span = document.createElement("span");
      const swatch = document.createElement("span");
      swatch.className = "swatch";
      swatch.style.background = s.color;
      span.append(swatch, ` ${s.name} (up to ${Math.max(...s.steps.map((p) => p[1]))})`);
      return span;
    }));
    return out;
  }

  drawChart(frame) {
    const c = this.chart;
    const w = (c.width = Math.max(100, Math.round(c.clientWidth * devicePixelRatio)));
    const h = (c.height = Math.round(90 * devicePixelRatio));
    const ctx = c.getContext("2d");
    ctx.clearRect(0, 0, w, h);
    const top = Math.max(1, ...this.series.flatMap((s) => s.steps.map((p) => p[1])));
    const x = (f) => (w * this.position(f)) / 100;
    const y = (v) => h - 4 - ((h - 10) * v) / top;
    ctx.strokeStyle = "#343b44";
    ctx.beginPath();
    ctx.moveTo(0, y(0) + 0.5);
    ctx.lineTo(w, y(0) + 0.5);
    ctx.stroke();
    ctx.lineWidth = 2 * devicePixelRatio;
    for (const s of this.series) {
      ctx.strokeStyle = s.color;
      ctx.beginPath();
      let v = 0;
      ctx.moveTo(0, y(0));
      for (const [f, value] of s.steps) {
        ctx.lineTo(x(f), y(v));
        ctx.lineTo(x(f), y(value));
        v = value;
      }
      ctx.lineTo(w, y(v));
      ctx.stroke();
    }
    if (frame >= 0) {
      ctx.fillStyle = "#4fb3ff";
      ctx.fillRect(Math.round(x(frame)), 0, devicePixelRatio, h);
    }
  }
}

function describe(e) {
  let s = `frame ${e.frame} (${Number(e.time).toFixed(2)} s): ${e.analytic} ${e.kind}`;
  if (e.ids && e.ids.length) s += `, ids ${e.ids.join(" ")}`;
  if (e.text) s += `, "${e.text}"`;
  if (e.counts) s += ", " + Object.entries(e.counts).map(([k, v]) => `${k} ${v}`).join(", ");
  return s;
}
