// The page: buttons, keys, files, the list, and what is said in words.
'use strict';

(() => {
  const byId = (id) => document.getElementById(id);
  const kSteps = ['the eye on the left of the picture', 'the eye on the right of the picture',
                  'the centre of the mouth'];
  const kZoomStep = 1.25;
  const kDirections = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]};

  const doc = new zomu.LandmarkDocument();
  const view = {current: zomu.landmarks[0].id, cross: null, dragged: null, photoName: null, insisted: ''};

  const stage = new zomu.Stage(byId('stage'), byId('photo'), byId('marks'), {
    place: (point) => place(point),
    select: (id) => choose(id),
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

  function renderList() {
    const visible = doc.visiblePoints();
    for (const option of byId('list').querySelectorAll('[role=option]')) {
      const id = Number(option.dataset.id);
      const point = view.dragged?.id === id ? view.dragged.point : visible.get(id);
      option.hidden = !doc.sides && zomu.sideIds.includes(id);
      option.setAttribute('aria-selected', String(id === view.current));
      option.classList.toggle('moved', doc.moved.has(id));
      option.querySelector('.place').textContent = point && doc.step === 3 ? placeOf(point) : '';
      if (id === view.current) {
        byId('list').setAttribute('aria-activedescendant', option.id);
        revealOption(option);
      }
    }
  }

  // Scrolls the list alone, never the page.
  function revealOption(option) {
    const list = byId('list');
    const top = option.offsetTop - list.offsetTop;
    if (top < list.scrollTop + 28) list.scrollTop = top - 28;
    const bottom = top + option.offsetHeight - list.clientHeight;
    if (bottom > list.scrollTop) list.scrollTop = bottom;
  }

  function render() {
    const open = view.photoName !== null;
    const placing = open && doc.step < 3;
    stage.setMarks(marks(), placing ? view.cross : null);
    byId('stage').classList.toggle('placing', placing);
    byId('empty').hidden = open;
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
    renderList();
  }

  // ---- What can be done ----------------------------------------------------------------------------

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
    if (doc.step === 3) return;
    if (!doc.placeAnchor(point)) {
      say('Eyes and mouth cannot all be at one place. Click the centre of the mouth.', true);
      return;
    }
    view.cross = point;
    if (doc.step === 3) view.current = zomu.landmarks[0].id;
    render();
    if (doc.step === 3) frameFace();
    if (doc.step < 3) askForStep();
    else say('All landmarks are placed. Drag each to its place, or choose one with N and P and move it with the arrow keys.');
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

  // ---- Files ---------------------------------------------------------------------------------------

  async function openPhoto(file) {
    let photo;
    try {
      // Upright, as all readers of this project turn it: landmarks mean the upright picture.
      photo = await createImageBitmap(file, {imageOrientation: 'from-image'});
    } catch {
      say(`${file.name} is not a picture that this browser can read.`, true);
      return;
    }
    view.photoName = file.name;
    doc.clear();
    stage.show(photo);
    view.cross = {x: Math.round(photo.width / 2), y: Math.round(photo.height / 2)};
    render();
    byId('stage').focus();
    askForStep();
  }

  async function openCsv(file) {
    try {
      doc.load(zomu.readCsv(await file.text()));
    } catch (problem) {
      say(`${file.name}: ${problem.message}.`, true);
      return;
    }
    render();
    frameFace();
    byId('stage').focus();
    say(`${doc.points.size} landmarks from ${file.name}.`);
  }

  function saveCsv() {
    const fault = faultText();
    if (fault !== '' && fault !== view.insisted) {
      view.insisted = fault;
      say(`Not saved: ${fault} Save again to save them all the same.`, true);
      return;
    }
    const name = view.photoName.replace(/\.[^.]*$/, '') + '.csv';
    const link = document.createElement('a');
    link.href = URL.createObjectURL(new Blob([zomu.writeCsv(doc.visiblePoints())], {type: 'text/csv'}));
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
    say(`Saved ${doc.visiblePoints().size} landmarks as ${name}.`);
  }

  function openFile(file) {
    if (/\.csv$/i.test(file.name)) {
      if (view.photoName === null) say('Open the photo first, then its landmarks.', true);
      else openCsv(file);
    } else {
      openPhoto(file);
    }
  }

  // ---- Wiring --------------------------------------------------------------------------------------

  function press(id) {
    if (!byId(id).disabled) byId(id).click();
  }

  // Keys that work wherever the focus is.
  function pageKey(event) {
    const key = event.key.toLowerCase();
    if ((event.ctrlKey || event.metaKey) && !event.altKey) {
      if (key === 'z') return press(event.shiftKey ? 'redo' : 'undo') ?? true;
      if (key === 'y') return press('redo') ?? true;
      return false;
    }
    if (event.altKey || event.metaKey) return false;
    const buttons = {'+': 'zoom-in', '=': 'zoom-in', '-': 'zoom-out', '0': 'zoom-fit', f: 'refit',
                     o: 'open-photo', c: 'open-csv', s: 'save-csv'};
    if (buttons[key]) return press(buttons[key]) ?? true;
    if (view.photoName !== null && (key === 'n' || key === 'p')) {
      chooseNext(key === 'n' ? 1 : -1);
      return true;
    }
    return false;
  }

  document.addEventListener('keydown', (event) => {
    if (pageKey(event)) event.preventDefault();
  });

  byId('stage').addEventListener('keydown', (event) => {
    if (view.photoName === null) return;
    if (kDirections[event.key]) {
      nudge(event);
    } else if (event.key === 'Enter' && doc.step < 3) {
      place(view.cross);
    } else {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
  });

  byId('list').addEventListener('keydown', (event) => {
    const offset = {ArrowUp: -1, ArrowDown: 1}[event.key];
    if (offset) {
      chooseNext(offset);
    } else if (event.key === 'Home') {
      choose(zomu.landmarks[0].id);
    } else if (event.key === 'End') {
      choose(zomu.landmarks.filter((l) => doc.sides || !zomu.sideIds.includes(l.id)).at(-1).id);
    } else if (event.key === 'Enter') {
      byId('stage').focus();
    } else {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
  });

  function buildList() {
    for (const name of zomu.groups) {
      const group = document.createElement('div');
      group.setAttribute('role', 'group');
      group.setAttribute('aria-label', name);
      group.innerHTML = `<div class="group-name" data-group="${name}">${name}</div>`;
      for (const landmark of zomu.landmarks.filter((other) => other.group === name)) {
        const option = document.createElement('div');
        option.id = `landmark-${landmark.id}`;
        option.className = 'option';
        option.setAttribute('role', 'option');
        option.dataset.id = landmark.id;
        option.dataset.group = name;
        for (const [part, text] of [['dot', ''], ['number', landmark.id], ['name', landmark.name],
                                    ['place', '']]) {
          const span = document.createElement('span');
          span.className = part;
          span.textContent = text;
          option.append(span);
        }
        option.addEventListener('click', () => {
          choose(landmark.id);
          if (doc.step === 3) stage.bringIntoView(doc.points.get(landmark.id));
        });
        group.append(option);
      }
      byId('list').append(group);
    }
  }

  const kClicks = {
    'open-photo': () => byId('photo-file').click(),
    'open-csv': () => byId('csv-file').click(),
    'save-csv': saveCsv,
    undo: () => travel(doc.undo(), 'Undone.'),
    redo: () => travel(doc.redo(), 'Done again.'),
    'zoom-in': () => stage.zoomBy(kZoomStep, focusPoint()),
    'zoom-out': () => stage.zoomBy(1 / kZoomStep, focusPoint()),
    'zoom-fit': () => stage.fit(),
    again: placeAgain,
    refit,
  };
  for (const [id, action] of Object.entries(kClicks)) byId(id).addEventListener('click', action);

  for (const [id, open] of [['photo-file', openPhoto], ['csv-file', openCsv]]) {
    byId(id).addEventListener('change', async () => {
      const [file] = byId(id).files;
      if (file) await open(file);
      byId(id).value = '';  // so that the same file can be opened again
    });
  }

  byId('sides').addEventListener('change', () => {
    doc.setSides(byId('sides').checked);
    if (!doc.sides && zomu.sideIds.includes(view.current)) view.current = zomu.landmarks[0].id;
    render();
    say(doc.sides ? 'With the four landmarks at the sides of the head.'
                  : 'Without the four landmarks at the sides of the head.');
  });

  byId('stage').addEventListener('dragover', (event) => event.preventDefault());
  byId('stage').addEventListener('drop', (event) => {
    event.preventDefault();
    for (const file of event.dataTransfer.files) openFile(file);
  });

  buildList();
  zomu.drawGuide(byId('guide'), choose);
  render();
})();
