// Drives the `vorn view` page in headless chromium for the program's tests, and prints what the page did as one
// JSON object: the timeline's marks, the press and every drag the page sent with the frames it was answered,
// the frame shown after the drag, and the frame and outlines after clicking a mark. The test that runs this
// compares it all with the events file and with direct calls of the library.
//
// usage: node check_page.mjs PLAN.json   with PLAN
//   {"url": "...", "shots": "DIR", "frame": F, "press": [x, y], "drag": [[x, y], ...], "mark": i, "hide": [a, k]}
// positions in video pixels; screenshots go to DIR/loaded.png, drag.png, event.png.
import { readFileSync } from "node:fs";
import { chromium } from "playwright-core";

const plan = JSON.parse(readFileSync(process.argv[2], "utf8"));
const deadline = setTimeout(() => {
  console.error("check_page: no result within 90 s");
  process.exit(3);
}, 90000);

const browser = await chromium.launch({
  executablePath: process.env.VORN_CHROMIUM || "/usr/bin/chromium",
  args: ["--no-sandbox", "--disable-gpu"],
  timeout: 30000,
});
const out = {};
try {
  const page = await browser.newPage({ viewport: { width: 1040, height: 1080 } });
  const errors = [];
  page.on("pageerror", (e) => errors.push(String(e)));
  await page.goto(`${plan.url}?frame=${plan.frame}`, { timeout: 20000 });
  await page.evaluate(() => window.vornViewReady);
  const shown = () => page.evaluate(() => Number(document.getElementById("picture").dataset.frame));
  out.loaded_frame = await shown();
  out.title = await page.textContent("#title");
  await page.screenshot({ path: `${plan.shots}/loaded.png`, fullPage: true });

  out.marks = await page.$$eval(".mark", (ms) =>
    ms.map((m) => ({ index: +m.dataset.index, frame: +m.dataset.frame, analytic: m.dataset.analytic, kind: m.dataset.kind })));

  // Press on the point, drag through the targets, hold while the screenshot is taken, release.
  const box = await page.$eval("#picture", (c) => {
    const r = c.getBoundingClientRect();
    return { left: r.left, top: r.top, sx: r.width / c.width, sy: r.height / c.height };
  });
  const client = ([x, y]) => [box.left + (x + 0.5) * box.sx, box.top + (y + 0.5) * box.sy];
  await page.mouse.move(...client(plan.press));
  await page.mouse.down();
  await page.waitForFunction(() => window.vornView.stats.downs.length === 1, null, { timeout: 10000 });
  for (const target of plan.drag) {
    await page.mouse.move(...client(target), { steps: 4 });
    // Every position reaches the server in order (or is replaced by a later one); wait for the last one's answer
    // to be on the canvas.
    await page.waitForFunction(([x, y]) => {
      const m = window.vornView.stats.moves.at(-1);
      return m && Math.abs(m.x - x) < 0.01 && Math.abs(m.y - y) < 0.01 &&
        Number(document.getElementById("picture").dataset.frame) === m.frame;
    }, target, { timeout: 10000 });
  }
  out.dragged_frame = await shown();
  await page.screenshot({ path: `${plan.shots}/drag.png`, fullPage: true });
  await page.mouse.up();
  await page.waitForFunction(() => window.vornView.state.drag === null, null, { timeout: 10000 });
  out.stats = await page.evaluate(() => window.vornView.stats);

  // A mark seeks to its event and outlines the event's boxes.
  await page.click(`.mark[data-index="${plan.mark}"]`);
  await page.waitForFunction((i) => {
    const v = window.vornView;
    return v.player.frame === v.events[i].frame && v.state.outline !== null;
  }, plan.mark, { timeout: 10000 });
  out.mark_frame = await shown();
  out.outlined = await page.evaluate(() => window.vornView.state.outline.boxes);
  await page.screenshot({ path: `${plan.shots}/event.png`, fullPage: true });

  // The filter hides exactly one analytic's kind.
  const [analytic, kind] = plan.hide;
  await page.click(`#filters label:has-text("${analytic} ${kind} (") input`);
  out.hidden = await page.$$eval(".mark.hidden", (ms) => ms.map((m) => +m.dataset.index));
  out.errors = errors;
} finally {
  await browser.close();
  clearTimeout(deadline);
}
console.log(JSON.stringify(out));
