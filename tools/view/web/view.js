// The page: the player with the trajectory points over the picture, press-and-drag on a point to move through
// time (the server's recorder answers every press, move and release), the controls and the event timeline.
"use strict";

const $ = (id) => document.getElementById(id);
const NEAR = 200;  // squared distance in pixels under which a press selects a point (as the recorder decides)

function getJson(url) {
  return fetch(url).then((r) => (r.ok ? r.json() : Promise.reject(new Error(`${url}: ${r.status}`))));
}

// Calls that change the recorder's selection go one after the other, in the order they were made.
let chain = Promise.resolve();
function call(url) {
  const p = chain.then(() => fetch(url, { method: "POST" })).then((r) => r.json());
  chain = p.catch(() => {});
  return p;
}

function trajectoryColor(index) { return `hsl(${(index * 137.508) % 360}, 90%, 60%)`; }

async function start() {
  const [info, events] = await Promise.all([getJson("api/info"), getJson("api/events")]);
  $("title").textContent = info.title;
  $("summary").textContent =
    `${info.width}×${info.height}, ${info.frames} frames at ${+info.fps.toFixed(3)} fps, ` +
    `${info.trajectories} trajectories, ${events.length} events`;
  document.title = `vorn view: ${info.title}`;

  const points = new Map();  // frame -> promise of [[index, x, y], ...]
  const loadPoints = (frame) => {
    let p = points.get(frame);
    if (!p) {
      p = getJson(`api/points/${frame}`);
      points.set(frame, p);
      if (points.size > 500) points.delete(points.keys().next().value);
    }
    return p;
  };

  const state = {
    drag: null,       // {index, path: {start, points}} while a trajectory is held
    outline: null,    // {frame, boxes, color, label} of the event picked on the timeline
    showPoints: true,
  };
  const stats = { downs: [], moves: [] };

  const canvas = $("picture");
  const scale = Math.max(1, info.width / 768);
  const overlay = (ctx, frame, current) => {
    const o = state.outline;
    if (state.showPoints) {
      ctx.globalAlpha = o && o.frame === frame ? 0.3 : 1;  // a picked event's outline stays readable
      ctx.lineWidth = scale;
      ctx.strokeStyle = "rgba(0, 0, 0, 0.7)";
      for (const [i, x, y] of current) {
        ctx.fillStyle = trajectoryColor(i);
        ctx.beginPath();
        ctx.arc(x + 0.5, y + 0.5, 2.5 * scale, 0, 2 * Math.PI);
        ctx.fill();
        ctx.stroke();
      }
      ctx.globalAlpha = 1;
    }
    if (state.drag) {
      const { start, points: xy } = state.drag.path;
      ctx.strokeStyle = trajectoryColor(state.drag.index);
      ctx.lineWidth = 2 * scale;
      ctx.beginPath();
      for (let k = 0; k < xy.length; k += 2) ctx.lineTo(xy[k] + 0.5, xy[k + 1] + 0.5);
      ctx.stroke();
      const k = 2 * (frame - start);
      if (k >= 0 && k < xy.length) {
        ctx.strokeStyle = "#fff";
        ctx.beginPath();
        ctx.arc(xy[k] + 0.5, xy[k + 1] + 0.5, 9 * scale, 0, 2 * Math.PI);
        ctx.stroke();
      }
    }
    if (o && o.frame === frame && o.boxes.length) {
      // Each box, then one frame around them all with the event's name over it; a dark rim under each line
      // keeps it visible on any picture.
      const m = 8 * scale;
      const l = Math.min(...o.boxes.map((q) => q[0])) - m, t = Math.min(...o.boxes.map((q) => q[1])) - m;
      const r = Math.max(...o.boxes.map((q) => q[2])) + m, b = Math.max(...o.boxes.map((q) => q[3])) + m;
      for (const [style, width] of [["rgba(0, 0, 0, 0.8)", 4 * scale], [o.color, 2 * scale]]) {
        ctx.strokeStyle = style;
        ctx.lineWidth = width;
        for (const [bl, bt, br, bb] of o.boxes) ctx.strokeRect(bl - 1, bt - 1, br - bl + 2, bb - bt + 2);
        ctx.setLineDash([6 * scale, 4 * scale]);
        ctx.strokeRect(l, t, r - l, b - t);
        ctx.setLineDash([]);
      }
      ctx.font = `600 ${13 * scale}px system-ui, sans-serif`;
      const w = ctx.measureText(o.label).width + 8 * scale, h = 18 * scale;
      const y = t - h >= 0 ? t - h : b;
      ctx.fillStyle = "rgba(0, 0, 0, 0.75)";
      ctx.fillRect(l, y, w, h);
      ctx.fillStyle = o.color;
      ctx.fillText(o.label, l + 4 * scale, y + 13.5 * scale);
    }
  };
  const player = new Player(canvas, info, overlay, loadPoints);

  // Press, drag and release on a point.
  let pressed = false, latest = null, moving = false;
  const pumpMove = () => {
    if (!state.drag || moving || !latest) return;
    const q = latest;
    latest = null;
    moving = true;
    const t0 = performance.now();
    call(`api/move?x=${q.x}&y=${q.y}`).then((r) => {
      stats.moves.push({ x: q.x, y: q.y, frame: r.frame, ms: performance.now() - t0 });
      moving = false;
      if (r.frame !== null && state.drag) player.show(r.frame);
      pumpMove();
    });
  };
  canvas.addEventListener("pointerdown", (e) => {
    if (e.button !== 0 || player.frame < 0) return;
    const p = player.toVideo(e);
    const frame = player.frame;
    pressed = true;
    latest = null;
    canvas.setPointerCapture(e.pointerId);
    player.pause();
    call(`api/down?frame=${frame}&x=${p.x}&y=${p.y}`).then((r) => {
      stats.downs.push({ frame, x: p.x, y: p.y, index: r.index });
      if (r.index === null || !pressed) {
        $("status").textContent = r.index === null ? "no point near here" : "";
        return;
      }
      $("status").textContent = "";
      state.drag = { index: r.index, path: r.path };
      canvas.classList.add("dragging");
      player.redraw();
      pumpMove();
    });
  });
  canvas.addEventListener("pointermove", (e) => {
    const p = player.toVideo(e);
    if (pressed) {
      latest = p;
      pumpMove();
      return;
    }
    const near = (player.extra || []).some(([, x, y]) => (x - p.x) ** 2 + (y - p.y) ** 2 < NEAR);
    canvas.classList.toggle("near", near);
  });
  const release = () => {
    if (!pressed) return;
    pressed = false;
    latest = null;
    call("api/up").then(() => {
      state.drag = null;
      canvas.classList.remove("dragging");
      player.redraw();
    });
  };
  canvas.addEventListener("pointerup", release);
  canvas.addEventListener("pointercancel", release);

  // Controls.
  const seek = $("seek");
  seek.max = String(info.frames - 1);
  seek.addEventListener("input", () => player.seek(Number(seek.value)));
  $("play").addEventListener("click", () => (player.playing ? player.pause() : player.play()));
  $("back").addEventListener("click", () => player.step(-1));
  $("forward").addEventListener("click", () => player.step(1));
  $("speed").addEventListener("change", (e) => player.setSpeed(Number(e.target.value)));
  $("show-points").addEventListener("change", (e) => {
    state.showPoints = e.target.checked;
    player.redraw();
  });
  document.addEventListener("keydown", (e) => {
    if (e.target.tagName === "INPUT" || e.target.tagName === "SELECT") return;
    if (e.key === " ") player.playing ? player.pause() : player.play();
    else if (e.key === "ArrowLeft") player.step(-1);
    else if (e.key === "ArrowRight") player.step(1);
    else return;
    e.preventDefault();
  });
  player.stateListener = (playing) => ($("play").textContent = playing ? "❚❚" : "▶");

  // The timeline; a picked event is outlined on its frame.
  const timeline = new Timeline($("events"), events, info.frames, (i) => {
    const e = events[i];
    state.outline = { frame: e.frame, boxes: e.boxes || [], color: timeline.colorOf(e), label: `${e.analytic} ${e.kind}` };
    player.seek(e.frame);
  });
  player.onFrame((frame) => {
    seek.value = String(frame);
    $("clock").textContent = `frame ${frame} / ${info.frames - 1} · ${(frame / info.fps).toFixed(2)} s`;
    timeline.setFrame(frame);
    if (state.outline && state.outline.frame !== frame && frame === player.wanted) {
      state.outline = null;
      timeline.unpick();
    }
  });

  const first = Number(new URLSearchParams(location.search).get("frame")) || 0;
  await player.show(first);
  $("status").textContent = "";
  window.vornView = { info, events, player, timeline, state, stats };
}

window.vornViewReady = start().catch((err) => {
  $("status").textContent = `cannot load: ${err.message}`;
  throw err;
});
