// The page: its state, what is said in words, and what is shown. Other files add what can be done.
'use strict';

(() => {
  const byId = (id) => document.getElementById(id);
  const kSteps = ['the eye on the left of the picture', 'the eye on the right of the picture',
                  'the centre of the mouth'];

  const doc = new zomu.LandmarkDocument();
  const view = {current: zomu.landmarks[0].id, cross: null, dragged: null, photoName: null, insisted: '',
                queue: null, faces: [], facesFor: null, searching: false};

  const stage = new zomu.Stage(byId('stage'), byId('photo'), byId('marks'), {
    place: (point) => zomu.editor.place(point),
    select: (id) => zomu.editor.choose(id),
    drag: (id, point) => {
      view.dragged = {id, point};
      render();
    },
    dropped: (id) => {
      const {point} = view.dragged;
      view.dragged = null;
      doc.move(id, point);
      render();
      say(`Moved ${nameOf(id)} to ${placeOf(point)}.`);
    },
    zoomed: (zoom) => {
      byId('zoom').textContent = `${Math.round(zoom * 100)}\u202f%`;
    },
  });

  function nameOf(id) {
    const landmark = zomu.landmarkById.get(id);
    return `${id}: ${landmark.group.toLowerCase()}, ${landmark.name}`;
  }

  function placeOf(point) {
    return `${point.x.toFixed(1)}, ${point.y.toFixed(1)}`;
  }

  function say(text, isProblem = false) {
    byId('status').textContent = text;
    byId('status').classList.toggle('problem', isProblem);
  }

  function askForStep() {
    say(`Step ${doc.step + 1} of 3: click ${kSteps[doc.step]}, or move the cross there with the arrow keys ` +
        'and press Enter.');
  }

  // What the check finds in the landmarks that would be saved; empty for nothing.
  function faultText() {
    if (doc.step < 3) return '';
    const entries = [...doc.visiblePoints()].map(([id, {x, y}]) => [id, x, y]);
    const {text} = zomu.checkLandmarks(entries, stage.photo.width, stage.photo.height);
    return text === '' || text.endsWith('?') ? text : `${text}.`;
  }

  // ---- What is shown -------------------------------------------------------------------------------

  function marks() {
    return [...doc.visiblePoints()].map(([id, point]) => ({
      id,
      point: view.dragged?.id === id ? view.dragged.point : point,
      group: zomu.landmarkById.get(id).group,
      label: zomu.landmarkById.get(id).label,
      moved: doc.moved.has(id),
      current: doc.step === 3 && id === view.current,
    }));
  }

  function renderQueue() {
    const {queue} = view;
    const count = queue?.entries.length ?? 0;
    byId('queue').hidden = count < 2;
    if (count === 0) return;
    byId('queue-name').textContent = queue.current.name;
    byId('queue-place').textContent = `${queue.index + 1} of ${count}, ${queue.left} left to mark`;
    byId('previous-photo').disabled = queue.index === 0;
    byId('next-photo').disabled = queue.index === count - 1;
  }

  function render() {
    const open = view.photoName !== null;
    if (view.facesFor !== doc.state) view.faces = [];  // the question is settled
    const asking = view.faces.length > 0;
    const placing = open && doc.step < 3 && !asking;
    stage.setMarks(asking ? [] : marks(), placing ? view.cross : null, view.faces);
    byId('stage').classList.toggle('placing', placing || asking);
    byId('empty').hidden = open;
    renderQueue();
    byId('steps').hidden = doc.step === 3;  // done: room for the list
    for (const item of byId('steps').children) {
      const step = Number(item.dataset.step);
      item.classList.toggle('done', doc.step > step);
      item.classList.toggle('next', placing && doc.step === step);
      if (placing && doc.step === step) item.setAttribute('aria-current', 'step');
      else item.removeAttribute('aria-current');
    }
    byId('open-csv').disabled = !open;
    byId('save-csv').disabled = doc.step < 3;
    // The one button that comes next is the coloured one.
    byId('open-photo').classList.toggle('primary', !open);
    byId('save-csv').classList.toggle('primary', doc.step === 3);
    byId('find').disabled = !open || view.searching;
    byId('undo').disabled = doc.past.length === 0;
    byId('redo').disabled = doc.future.length === 0;
    byId('again').disabled = doc.step === 0;
    byId('refit').disabled = doc.step < 3;
    byId('sides').checked = doc.sides;
    for (const id of ['zoom-in', 'zoom-out', 'zoom-fit']) byId(id).disabled = !open;
    const shown = placing ? zomu.anchorIds[doc.step] : view.current;
    zomu.showInGuide(byId('guide'), shown);
    byId('guide-name').textContent = nameOf(shown);
    const fault = faultText();
    byId('fault').hidden = fault === '';
    byId('fault').textContent = `Tools refuse these landmarks: ${fault}`;
    zomu.showList(doc, view, placeOf);
  }

  zomu.editor = {byId, kSteps, doc, view, stage, nameOf, placeOf, say, askForStep, faultText, render};
})();
