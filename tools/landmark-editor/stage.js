// The photo with its marks: drawing, zoom, and what the pointer does. Landmarks are pixels of the photo,
// whole numbers on pixel centres.
'use strict';

zomu.Stage = class {
  static kSvg = 'http://www.w3.org/2000/svg';
  static kZoomRange = [0.02, 64];
  static kClickSlack = 4;     // screen pixels a click may wander
  static kFreeMargin = 0.15;  // of the stage, kept around the landmark that is moved by keys
  static kFrameRoom = 1.45;   // of the landmarks' extent, when the face fills the stage
  static kSharpZoom = 8;      // from here on pixels are shown as squares

  // `on` has the functions place(point), select(id), drag(id, point), dropped(id), zoomed(zoom).
  constructor(stage, canvas, svg, on) {
    Object.assign(this, {stage, canvas, svg, on, photo: null, zoom: 1, left: 0, top: 0, fitted: true});
    stage.addEventListener('pointerdown', (event) => this.startGesture(event));
    stage.addEventListener('pointermove', (event) => this.continueGesture(event));
    stage.addEventListener('pointerup', (event) => this.endGesture(event));
    stage.addEventListener('pointercancel', () => {
      this.gesture = null;
    });
    stage.addEventListener('wheel', (event) => this.turnWheel(event), {passive: false});
    new ResizeObserver(() => this.resized()).observe(stage);
  }

  show(photo) {
    this.photo?.close();
    this.photo = photo;
    this.canvas.width = photo.width;
    this.canvas.height = photo.height;
    this.canvas.getContext('2d').drawImage(photo, 0, 0);
    this.fit();
  }

  clear() {
    this.photo?.close();
    this.photo = null;
    this.canvas.width = this.canvas.height = 0;
  }

  // From pixels of the photo to those of the stage, and back.
  onStage(point) {
    return {x: (point.x + 0.5) * this.zoom + this.left, y: (point.y + 0.5) * this.zoom + this.top};
  }

  onPhoto(x, y) {
    return {x: (x - this.left) / this.zoom - 0.5, y: (y - this.top) / this.zoom - 0.5};
  }

  pointOf(event) {
    const box = this.stage.getBoundingClientRect();
    return this.onPhoto(event.clientX - box.left - this.stage.clientLeft,
                        event.clientY - box.top - this.stage.clientTop);
  }

  middle() {
    return this.onPhoto(this.stage.clientWidth / 2, this.stage.clientHeight / 2);
  }

  fit() {
    if (this.photo === null) return;
    const {clientWidth: width, clientHeight: height} = this.stage;
    this.zoom = Math.min(width / this.photo.width, height / this.photo.height) * 0.96;
    this.left = (width - this.photo.width * this.zoom) / 2;
    this.top = (height - this.photo.height * this.zoom) / 2;
    this.fitted = true;
    this.arrange();
  }

  // Shows all of `points` with room around them, as large as that goes.
  frame(points) {
    const [xs, ys] = [points.map((point) => point.x), points.map((point) => point.y)];
    const [left, right, top, bottom] = [Math.min(...xs), Math.max(...xs), Math.min(...ys), Math.max(...ys)];
    const {clientWidth: width, clientHeight: height} = this.stage;
    const room = zomu.Stage.kFrameRoom * Math.max(right - left, bottom - top);
    const [least, most] = zomu.Stage.kZoomRange;
    this.zoom = Math.min(most, Math.max(least, Math.min(width, height) / room));
    this.left = width / 2 - ((left + right + 1) / 2) * this.zoom;
    this.top = height / 2 - ((top + bottom + 1) / 2) * this.zoom;
    this.fitted = false;
    this.arrange();
  }

  // Keeps `point` of the photo where it is on the screen.
  zoomBy(factor, point) {
    if (this.photo === null) return;
    const before = this.onStage(point);
    const [least, most] = zomu.Stage.kZoomRange;
    this.zoom = Math.min(most, Math.max(least, this.zoom * factor));
    const after = this.onStage(point);
    this.left += before.x - after.x;
    this.top += before.y - after.y;
    this.fitted = false;
    this.arrange();
  }

  bringIntoView(point) {
    const {clientWidth: width, clientHeight: height} = this.stage;
    const {x, y} = this.onStage(point);
    const keep = (value, size) => {
      const margin = size * zomu.Stage.kFreeMargin;
      return Math.max(0, margin - value) - Math.max(0, value - (size - margin));
    };
    const [dx, dy] = [keep(x, width), keep(y, height)];
    if (dx === 0 && dy === 0) return;
    // A photo that is shown as a whole stays where it is.
    if (this.fitted) return;
    this.left += dx;
    this.top += dy;
    this.arrange();
  }

  resized() {
    if (this.fitted) this.fit();
    else this.arrange();
  }

  arrange() {
    const {style} = this.canvas;
    style.transform = `translate(${this.left}px, ${this.top}px) scale(${this.zoom})`;
    style.imageRendering = this.zoom >= zomu.Stage.kSharpZoom ? 'pixelated' : 'auto';
    this.on.zoomed(this.zoom);
    this.draw();
  }

  // `marks` is a list of {id, point, group, label, moved, current}; `cross` a point or null; `faces` have boxes
  // among which somebody chooses.
  setMarks(marks, cross, faces) {
    Object.assign(this, {marks, cross, faces});
    this.draw();
  }

  draw() {
    this.svg.replaceChildren();
    for (const mark of this.marks ?? []) this.drawMark(mark);
    (this.faces ?? []).forEach(({box: [left, top, right, bottom]}, index) => {
      const [from, to] = [this.onStage({x: left, y: top}), this.onStage({x: right, y: bottom})];
      const box = {x: from.x, y: from.y, width: to.x - from.x, height: to.y - from.y, rx: 6};
      this.add(this.svg, 'rect', {...box, class: 'face-halo'});
      this.add(this.svg, 'rect', {...box, class: 'face'});
      this.add(this.svg, 'text', {x: from.x + 10, y: from.y + 22, class: 'face-number'}, String(index + 1));
    });
    if (this.cross) {
      const {x, y} = this.onStage(this.cross);
      const lines = `M ${x - 22} ${y} H ${x - 5} M ${x + 5} ${y} H ${x + 22} ` +
                    `M ${x} ${y - 22} V ${y - 5} M ${x} ${y + 5} V ${y + 22}`;
      this.add(this.svg, 'path', {d: lines, class: 'cross-halo'});
      this.add(this.svg, 'path', {d: lines, class: 'cross'});
    }
  }

  drawMark(mark) {
    const {x, y} = this.onStage(mark.point);
    const group = this.add(this.svg, 'g', {
      'class': `mark${mark.current ? ' current' : ''}${mark.moved ? ' moved' : ''}`,
      'data-id': mark.id,
      'data-group': mark.group,
    });
    if (mark.current) this.add(group, 'circle', {cx: x, cy: y, r: 13, class: 'mark-ring'});
    this.add(group, 'circle', {cx: x, cy: y, r: 12, class: 'mark-target'});
    this.add(group, 'circle', {cx: x, cy: y, r: 4.5, class: 'mark-dot'});
    const reach = mark.current ? 16 : 9;
    const [dx, dy, anchor] = {n: [0, -reach, 'middle'], s: [0, reach + 9, 'middle'],
                              w: [-reach, 4, 'end'], e: [reach, 4, 'start']}[mark.label];
    this.add(group, 'text', {x: x + dx, y: y + dy, 'text-anchor': anchor}, String(mark.id));
  }

  add(parent, name, attributes, text = '') {
    const node = document.createElementNS(zomu.Stage.kSvg, name);
    for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
    node.textContent = text;
    parent.append(node);
    return node;
  }

  startGesture(event) {
    if (this.photo === null || event.button !== 0) return;
    this.stage.setPointerCapture(event.pointerId);
    const mark = event.target.closest('.mark');
    const id = mark === null ? null : Number(mark.dataset.id);
    const point = this.pointOf(event);
    this.gesture = {id, x: event.clientX, y: event.clientY, left: this.left, top: this.top, moved: false};
    if (id === null) return;
    // The mark keeps its distance from the pointer that took it.
    const own = this.marks.find((other) => other.id === id).point;
    this.gesture.offset = {x: own.x - point.x, y: own.y - point.y};
    this.on.select(id);
  }

  continueGesture(event) {
    const gesture = this.gesture;
    if (!gesture) return;
    const [dx, dy] = [event.clientX - gesture.x, event.clientY - gesture.y];
    if (!gesture.moved && Math.hypot(dx, dy) <= zomu.Stage.kClickSlack) return;
    gesture.moved = true;
    if (gesture.id === null) {
      this.left = gesture.left + dx;
      this.top = gesture.top + dy;
      this.fitted = false;
      this.arrange();
      return;
    }
    const point = this.pointOf(event);
    this.on.drag(gesture.id, {x: point.x + gesture.offset.x, y: point.y + gesture.offset.y});
  }

  endGesture(event) {
    this.continueGesture(event);  // the pointer may have moved since it was last heard of
    const gesture = this.gesture;
    this.gesture = null;
    if (!gesture) return;
    if (gesture.id !== null && gesture.moved) this.on.dropped(gesture.id);
    if (gesture.id === null && !gesture.moved) this.on.place(this.pointOf(event));
  }

  turnWheel(event) {
    if (this.photo === null) return;
    event.preventDefault();
    this.zoomBy(Math.exp(-event.deltaY * 0.0015), this.pointOf(event));
  }
};
