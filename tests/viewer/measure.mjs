// Measures the `vorn view` page in headless chromium (not part of the tests; figures for docs and reports):
// drag answers along a long trajectory, random jumps to frames, and playback smoothness; with a video file as
// second argument, random seeks of a <video> element in that file for comparison.
//
// usage: node measure.mjs URL [VIDEO.mp4]
import { chromium } from "playwright-core";

const [url, video] = process.argv.slice(2);
const browser = await chromium.launch({
  executablePath: process.env.VORN_CHROMIUM || "/usr/bin/chromium",
  args: ["--no-sandbox", "--disable-gpu", "--autoplay-policy=no-user-gesture-required"],
});
const summary = (xs) => {
  const s = [...xs].sort((a, b) => a - b);
  const at = (q) => s[Math.min(s.length - 1, Math.floor(q * s.length))];
  return `n ${s.length}, median ${at(0.5).toFixed(1)} ms, p95 ${at(0.95).toFixed(1)} ms, max ${s.at(-1).toFixed(1)} ms`;
};
try {
  const page = await browser.newPage({ viewport: { width: 1040, height: 1000 } });
  await page.goto(url);
  await page.evaluate(() => window.vornViewReady);
  const info = await page.evaluate(() => window.vornView.info);

  // The longest trajectory present at a third of the video: pressed there, dragged along its own path.
  const third = Math.floor(info.frames / 3);
  const path = await page.evaluate(async (f) => {
    await window.vornView.player.show(f);
    const pts = await (await fetch(`api/points/${f}`)).json();
    let best = null;
    for (const [i] of pts) {
      const down = await (await fetch(`api/down?frame=${f}&x=${pts.find((p) => p[0] === i)[1]}&y=${pts.find((p) => p[0] === i)[2]}`, { method: "POST" })).json();
      if (down.index !== null && (!best || down.path.points.length > best.points.length)) best = down.path;
    }
    await fetch("api/up", { method: "POST" });
    return best;
  }, third);
  const box = await page.$eval("#picture", (c) => {
    const r = c.getBoundingClientRect();
    return { left: r.left, top: r.top, s: r.width / c.width };
  });
  const client = (x, y) => [box.left + (x + 0.5) * box.s, box.top + (y + 0.5) * box.s];
  const k0 = third - path.start;
  await page.mouse.move(...client(path.points[2 * k0], path.points[2 * k0 + 1]));
  await page.mouse.down();
  const n = path.points.length / 2;
  for (let k = 0; k < n; k += Math.max(1, Math.floor(n / 150))) {
    await page.mouse.move(...client(path.points[2 * k] + 2, path.points[2 * k + 1] - 1));
    await page.waitForTimeout(15);
  }
  await page.mouse.up();
  const moves = await page.evaluate(() => window.vornView.stats.moves.map((m) => m.ms));
  console.log(`trajectory of ${n} frames; drag answers (press to answer in the page): ${summary(moves)}`);

  // Random jumps: asking for a frame to seeing it drawn.
  const jumps = await page.evaluate(async (frames) => {
    const out = [];
    for (let i = 0; i < 60; ++i) {
      const f = Math.floor(Math.random() * frames);
      const t = performance.now();
      await window.vornView.player.seek(f);
      out.push(performance.now() - t);
    }
    return out;
  }, info.frames);
  console.log(`random frame jumps, picture and points drawn: ${summary(jumps)}`);

  // Playback at 1x for four seconds: how many of the due frames were drawn, and the longest wait between two.
  const play = await page.evaluate(async () => {
    const v = window.vornView, times = [];
    await v.player.seek(0);
    v.player.onFrame(() => times.push(performance.now()));
    v.player.play();
    await new Promise((r) => setTimeout(r, 4000));
    v.player.pause();
    const gaps = times.slice(1).map((t, i) => t - times[i]);
    return { drawn: times.length, longest: Math.max(...gaps) };
  });
  console.log(`playback 4 s at ${info.fps} fps: ${play.drawn} frames drawn of ${Math.round(4 * info.fps)} due, ` +
    `longest wait ${play.longest.toFixed(0)} ms (a frame lasts ${(1000 / info.fps).toFixed(0)} ms)`);

  if (video) {
    const vpage = await browser.newPage();
    await vpage.goto(`file://${video}`, { waitUntil: "commit" });
    await vpage.waitForSelector("video", { timeout: 20000 });
    const seeks = await vpage.evaluate(async (fps) => {
      const v = document.querySelector("video");
      if (!v) return "no <video> element: the browser cannot play this file";
      v.pause();
      const loaded = await Promise.race([
        new Promise((r) => (v.readyState >= 1 ? r(true) : v.addEventListener("loadedmetadata", () => r(true), { once: true }))),
        new Promise((r) => setTimeout(() => r(false), 10000)),
      ]);
      if (!loaded) return "the browser cannot play this file";
      const out = [];
      for (let i = 0; i < 40; ++i) {
        const t = performance.now();
        v.currentTime = (Math.floor(Math.random() * v.duration * fps) + 0.5) / fps;
        const seeked = await Promise.race([
          new Promise((r) => v.addEventListener("seeked", () => r(true), { once: true })),
          new Promise((r) => setTimeout(() => r(false), 5000)),
        ]);
        if (!seeked) return `seek ${i} did not end within 5 s`;
        out.push(performance.now() - t);
      }
      return out;
    }, info.fps);
    console.log(`<video> random seeks in ${video}, to the seeked event: ${typeof seeks === "string" ? seeks : summary(seeks)}`);
  }
} finally {
  await browser.close();
}
