// What is edited: the landmarks of one photo, which of them somebody has moved, and all former states.
'use strict';

zomu.LandmarkDocument = class {
  constructor() {
    this.clear();
  }

  clear() {
    this.state = {points: new Map(), moved: new Set(), sides: true};
    this.past = [];
    this.future = [];
    this.markSaved();
  }

  markSaved() {
    this.savedState = this.state;
  }

  // Whether the state differs from what is in a file, or from nothing.
  get unsaved() {
    return this.state !== this.savedState;
  }

  get points() {
    return this.state.points;
  }

  get moved() {
    return this.state.moved;
  }

  get sides() {
    return this.state.sides;
  }

  // How many of the three first clicks have been made; 3 from then on.
  get step() {
    return Math.min(this.points.size, zomu.anchorIds.length);
  }

  // What is shown and saved: without the sides of the head where these are not wanted.
  visiblePoints() {
    return new Map([...this.points].filter(([id]) => this.sides || !zomu.sideIds.includes(id)));
  }

  // Puts a changed copy in place of the state, which can be undone.
  change(edit) {
    const {points, moved, sides} = this.state;
    const next = {points: new Map(points), moved: new Set(moved), sides};
    edit(next);
    this.past.push(this.state);
    this.future = [];
    this.state = next;
  }

  move(id, point) {
    this.change((next) => {
      next.points.set(id, point);
      next.moved.add(id);
    });
  }

  // Marks the next of the three; with the last, all others follow. False where the three lie at one
  // place: the last is not taken then.
  placeAnchor(point) {
    const id = zomu.anchorIds[this.step];
    const marked = new Map(this.points).set(id, point);
    const placed = marked.size < zomu.anchorIds.length ? marked : zomu.placeLandmarks(marked);
    if (placed === null) return false;
    this.change((next) => {
      next.points = placed;
      next.moved.add(id);
    });
    return true;
  }

  // Lays the head model on what somebody has moved and takes all other landmarks from it.
  refit() {
    const known = new Map([...this.points].filter(([id]) => this.moved.has(id)));
    const placed = known.size < zomu.anchorIds.length ? null : zomu.placeLandmarks(known);
    if (placed === null) return false;
    this.change((next) => {
      next.points = placed;
    });
    return true;
  }

  placeAgain() {
    this.change((next) => {
      next.points = new Map();
      next.moved = new Set();
    });
  }

  setSides(wanted) {
    this.change((next) => {
      next.sides = wanted;
      if (!wanted || zomu.sideIds.every((id) => next.points.has(id))) return;
      // A file came without them: the model has places for them.
      const placed = zomu.placeLandmarks(next.points);
      if (placed !== null) next.points = placed;
    });
  }

  // All of a file counts as placed by somebody.
  load(points) {
    this.change((next) => {
      next.points = points;
      next.moved = new Set(points.keys());
      next.sides = zomu.sideIds.some((id) => points.has(id));
    });
  }

  undo() {
    return this.travel(this.past, this.future);
  }

  redo() {
    return this.travel(this.future, this.past);
  }

  travel(from, to) {
    if (from.length === 0) return false;
    to.push(this.state);
    this.state = from.pop();
    return true;
  }
};
