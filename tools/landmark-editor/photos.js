// Files: photos and landmarks that are opened, landmarks that are saved.
'use strict';

(() => {
  const {byId, doc, view, stage, say, askForStep, faultText, render, frameFace, mayLeave} = zomu.editor;
  let latest = 0;  // of the requests for a photo
  let next = null;  // the queue and index of the latest, until it is done

  const csvNameOf = (photoName) => photoName.replace(/\.[^.]*$/, '') + '.csv';

  // The landmarks that belong to a photo: those saved last, else those of its file, if there is one.
  async function landmarksOf(entry) {
    if (entry.saved === null && entry.csv === null) return {points: null, words: ''};
    const name = csvNameOf(entry.name);
    try {
      const points = zomu.readCsv(entry.saved ?? await entry.csv.text());
      return {points, words: `${points.size} landmarks from ${name}.`};
    } catch (problem) {
      return {points: null, words: `${name}: ${problem.message}.`};
    }
  }

  async function pictureOf(entry) {
    try {
      return {photo: await zomu.readPhoto(entry.photo), problem: ''};
    } catch (problem) {
      return {photo: null, problem: `${problem.message}.`};
    }
  }

  function show(queue, index, photo) {
    view.queue = queue;
    queue.index = index;
    queue.current.refused = photo === null;
    view.photoName = photo === null ? null : queue.current.name;
    view.insisted = '';
    view.faces = [];
    doc.clear();
    if (photo === null) {
      stage.clear();
    } else {
      stage.show(photo);
      view.cross = {x: Math.round(photo.width / 2), y: Math.round(photo.height / 2)};
    }
  }

  async function goTo(queue, index) {
    next = {queue, index};
    const request = ++latest;
    await open(queue, index, request);
    if (request === latest) next = null;
  }

  // Opens a photo of a queue, unless another is asked for before that is done.
  async function open(queue, index, request) {
    const entry = queue.entries[index];
    const {photo, problem} = await pictureOf(entry);
    const {points, words} = await landmarksOf(entry);
    if (request === latest && photo === null && queue.entries.length === 1) {
      say(problem, true);  // a single file replaces nothing
      return;
    }
    if (request !== latest || !await mayLeave() || request !== latest) {
      photo?.close();
      return;
    }
    show(queue, index, photo);
    if (points !== null && photo !== null) {
      doc.load(points);
      doc.markSaved();
    }
    render();
    if (doc.step === 3) frameFace();
    byId('stage').focus();
    if (photo === null) say(problem, true);
    else if (words !== '') say(words, points === null);
    else askForStep();
  }

  // What was chosen or dropped together: photos, landmarks, or both.
  async function openFiles(files) {
    const queue = new zomu.PhotoQueue(files);
    if (queue.entries.length > 0) {
      await goTo(queue, 0);
      if (view.queue === queue && queue.leftOut.length > 0) {
        say(`${byId('status').textContent} ${queue.leftOut.join('. ')}.`);
      }
    } else if (files.length === 0 || files[0].webkitRelativePath !== '') {
      say('There are no photos in this folder.', true);
    } else if (view.photoName === null) {
      say('Open the photo first, then its landmarks.', true);
    } else {
      await openCsv(files[0]);
    }
  }

  async function openCsv(file) {
    const request = latest;
    let points;
    try {
      points = zomu.readCsv(await file.text());
    } catch (problem) {
      say(`${file.name}: ${problem.message}.`, true);
      return;
    }
    // Landmarks that come late are not those of the next photo.
    if (request !== latest || !await mayLeave() || request !== latest) return;
    doc.load(points);
    if (file.name === csvNameOf(view.photoName)) doc.markSaved();
    render();
    frameFace();
    byId('stage').focus();
    say(`${points.size} landmarks from ${file.name}.`);
  }

  // Whether they were saved.
  function saveCsv() {
    const fault = faultText();
    if (fault !== '' && fault !== view.insisted) {
      view.insisted = fault;
      say(`Not saved: ${fault} Save again to save them all the same.`, true);
      return false;
    }
    const name = csvNameOf(view.photoName);
    const text = zomu.writeCsv(doc.visiblePoints());
    const link = document.createElement('a');
    link.href = URL.createObjectURL(new Blob([text], {type: 'text/csv'}));
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
    view.queue.current.saved = text;
    doc.markSaved();
    render();
    say(`Saved ${doc.visiblePoints().size} landmarks as ${name}.`);
    return true;
  }

  function goBy(step) {
    const from = next?.queue === view.queue ? next.index : view.queue.index;
    const index = from + step;
    if (index >= 0 && index < view.queue.entries.length) goTo(view.queue, index);
  }

  Object.assign(zomu.editor, {openFiles, openCsv, saveCsv, goBy});
})();
