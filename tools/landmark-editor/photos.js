// Files: photos and landmarks that are opened, landmarks that are saved.
'use strict';

(() => {
  const {doc, view, stage, byId, say, askForStep, faultText, render, frameFace} = zomu.editor;

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

  Object.assign(zomu.editor, {openPhoto, openCsv, saveCsv, openFile});
})();
