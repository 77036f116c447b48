// The picture: frames fetched from the server as JPEG pictures (kept decoded in a small cache), shown on one
// canvas with an overlay drawn by whoever owns the player, played at the video's rate or jumped to at once.
"use strict";

class FrameCache {
  constructor(token, limit) {
    this.token = token;
    this.limit = limit;
    this.images = new Map();  // frame -> Promise of a decoded image; oldest first
  }

  get(frame) {
    let p = this.images.get(frame);
    if (p) {
      this.images.delete(frame);  // now the newest
    } else {
      const img = new Image();
      img.src = `frame/${frame}.jpg?run=${this.token}`;
      p = img.decode().then(() => img);
      p.catch(() => this.images.delete(frame));
    }
    this.images.set(frame, p);
    while (this.images.size > this.limit) this.images.delete(this.images.keys().next().value);
    return p;
  }
}

class Player {
  // info: the server's /api/info; loadExtra(frame): a promise of what the overlay needs for that frame, fetched
  // together with the picture; overlay(ctx, frame, extra): draws over the picture.
  constructor(canvas, info, overlay, loadExtra) {
    this.canvas = canvas;
    this.ctx = canvas.getContext("2d");
    this.info = info;
    this.overlay = overlay;
    this.loadExtra = loadExtra;
    this.cache = new FrameCache(info.token, 96);
    this.frame = -1;       // the frame on the canvas
    this.wanted = 0;       // the frame last asked for
    this.asked = 0;        // requests made; an answer older than the one drawn is dropped
    this.drawnRequest = 0;
    this.image = null;
    this.extra = null;
    this.playing = false;
    this.speed = 1;
    this.listeners = [];
    canvas.width = info.width;
    canvas.height = info.height;
  }

  onFrame(f) { this.listeners.push(f); }

  // Shows `frame` as soon as its picture and overlay data are in; later requests win over earlier ones.
  show(frame) {
    frame = Math.max(0, Math.min(this.info.frames - 1, Math.round(frame)));
    this.wanted = frame;
    const request = ++this.asked;
    return Promise.all([this.cache.get(frame), this.loadExtra(frame)]).then(([img, extra]) => {
      if (request < this.drawnRequest) return;
      this.drawnRequest = request;
      this.image = img;
      this.extra = extra;
      this.frame = frame;
      this.redraw();
      for (const f of this.listeners) f(frame);
    }, () => {});
  }

  redraw() {
    if (!this.image) return;
    this.ctx.drawImage(this.image, 0, 0);
    this.overlay(this.ctx, this.frame, this.extra);
    this.canvas.dataset.frame = String(this.frame);
  }

  seek(frame) {
    if (this.playing) this.pause();
    return this.show(frame);
  }

  step(delta) { return this.seek(this.wanted + delta); }

  play() {
    if (this.playing) return;
    if (this.wanted >= this.info.frames - 1) this.wanted = 0;
    this.playing = true;
    this.startFrame = this.wanted;
    this.startTime = performance.now();
    this.notifyState();
    const tick = (now) => {
      if (!this.playing) return;
      const due = this.startFrame + Math.floor(((now - this.startTime) / 1000) * this.info.fps * this.speed);
      if (due >= this.info.frames - 1) {
        this.show(this.info.frames - 1);
        this.pause();
        return;
      }
      if (due !== this.wanted) this.show(due);
      for (let k = 1; k <= 8; ++k)  // fetched ahead, so that playback does not wait for the server
        if (due + k < this.info.frames) this.cache.get(due + k);
      requestAnimationFrame(tick);
    };
    requestAnimationFrame(tick);
  }

  pause() {
    this.playing = false;
    this.notifyState();
  }

  setSpeed(speed) {
    const playing = this.playing;
    this.playing = false;
    this.speed = speed;
    if (playing) this.play();
  }

  notifyState() {
    if (this.stateListener) this.stateListener(this.playing);
  }

  // Pointer position on the canvas in video pixels, (0, 0) being the centre of the top-left pixel.
  toVideo(event) {
    const r = this.canvas.getBoundingClientRect();
    return {
      x: ((event.clientX - r.left) * this.info.width) / r.width - 0.5,
      y: ((event.clientY - r.top) * this.info.height) / r.height - 0.5,
    };
  }
}
