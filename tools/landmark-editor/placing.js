// What can be done with landmarks: choose, place, move, fit, undo.
'use strict';

(() => {
  const {doc, view, stage, byId, kSteps, nameOf, placeOf, say, askForStep, render} = zomu.editor;
  const kDirections = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]};

  function choose(id) {
    view.current = id;
    render();
    if (doc.step === 3) {
      const point = doc.points.get(id);
      say(`Landmark ${nameOf(id)}, at ${placeOf(point)}.`);
    } else {
      say(`Landmark ${nameOf(id)}.`);
    }
  }

  function chooseNext(offset) {
    const ids = zomu.landmarks.map((landmark) => landmark.id)
        .filter((id) => doc.sides || !zomu.sideIds.includes(id));
    const index = Math.max(0, ids.indexOf(view.current));
    choose(ids[(index + offset + ids.length) % ids.length]);
    if (doc.step === 3) stage.bringIntoView(doc.points.get(view.current));
  }

  function frameFace() {
    stage.frame([...doc.visiblePoints().values()]);
  }

  function place(point) {
    if (view.faces.length > 0) {
      zomu.editor.pickAt(point);
      return;
    }
    if (doc.step === 3) return;
    if (!doc.placeAnchor(point)) {
      say('Eyes and mouth cannot all be at one place. Click the centre of the mouth.', true);
      return;
    }
    view.cross = point;
    if (doc.step === 3) view.current = zomu.landmarks[0].id;
    render();
    if (doc.step === 3) frameFace();
    if (doc.step < 3) {
      askForStep();
    } else {
      say('All landmarks are placed. Drag each to its place, or choose one with N and P and move it with the ' +
          'arrow keys.');
    }
  }

  function nudge(event) {
    const amount = event.shiftKey ? 10 : event.altKey || event.ctrlKey ? 0.1 : 1;
    const [dx, dy] = kDirections[event.key];
    const start = doc.step === 3 ? doc.points.get(view.current) : view.cross;
    const point = {x: start.x + dx * amount, y: start.y + dy * amount};
    if (doc.step === 3) {
      doc.move(view.current, point);
      say(`${view.current} at ${placeOf(point)}`);
    } else {
      view.cross = point;
      say(`Cross at ${placeOf(point)}. Enter marks ${kSteps[doc.step]}.`);
    }
    render();
    stage.bringIntoView(point);
  }

  function travel(done, text) {
    if (!done) return;
    render();
    if (doc.step < 3 && view.photoName !== null) askForStep();
    else say(text);
  }

  function refit() {
    if (doc.refit()) {
      render();
      say(`Fitted the head model to the ${doc.moved.size} landmarks that you have moved.`);
    }
  }

  function placeAgain() {
    doc.placeAgain();
    render();
    askForStep();
    byId('stage').focus();
  }

  function focusPoint() {
    return doc.step === 3 ? doc.points.get(view.current) : view.cross ?? stage.middle();
  }

  function setSides(wanted) {
    doc.setSides(wanted);
    if (!doc.sides && zomu.sideIds.includes(view.current)) view.current = zomu.landmarks[0].id;
    render();
    say(doc.sides ? 'With the four landmarks at the sides of the head.'
                  : 'Without the four landmarks at the sides of the head.');
  }

  Object.assign(zomu.editor, {kDirections, choose, chooseNext, frameFace, place, nudge, travel, refit, placeAgain,
                              focusPoint, setSides});
})();
