// Buttons, keys, files that are chosen or dropped.
'use strict';

(() => {
  const editor = zomu.editor;
  const {byId, doc, view, stage, choose, chooseNext} = editor;
  const kZoomStep = 1.25;

  function press(id) {
    if (!byId(id).disabled) byId(id).click();
  }

  // Keys that work wherever the focus is.
  function pageKey(event) {
    if (byId('unsaved').open) return false;
    const key = event.key.toLowerCase();
    if ((event.ctrlKey || event.metaKey) && !event.altKey) {
      if (key === 'z') return press(event.shiftKey ? 'redo' : 'undo') ?? true;
      if (key === 'y') return press('redo') ?? true;
      return false;
    }
    if (event.altKey || event.metaKey) return false;
    const buttons = {'+': 'zoom-in', '=': 'zoom-in', '-': 'zoom-out', '0': 'zoom-fit', f: 'refit', a: 'find',
                     o: 'open-photo', d: 'open-folder', c: 'open-csv', s: 'save-csv',
                     pagedown: 'next-photo', pageup: 'previous-photo'};
    if (view.faces.length > 0 && (key === 'escape' || /^[1-9]$/.test(key))) {
      if (key === 'escape') editor.pickNone();
      else editor.pick(Number(key) - 1);
      return true;
    }
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
    if (view.photoName === null || view.faces.length > 0) return;
    if (editor.kDirections[event.key]) {
      editor.nudge(event);
    } else if (event.key === 'Enter' && doc.step < 3) {
      editor.place(view.cross);
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

  const kClicks = {
    'open-photo': () => byId('photo-file').click(),
    'open-folder': () => byId('folder').click(),
    'previous-photo': () => editor.goBy(-1),
    'next-photo': () => editor.goBy(1),
    'open-csv': () => byId('csv-file').click(),
    'save-csv': editor.saveCsv,
    undo: () => editor.travel(doc.undo(), 'Undone.'),
    redo: () => editor.travel(doc.redo(), 'Done again.'),
    'zoom-in': () => stage.zoomBy(kZoomStep, editor.focusPoint()),
    'zoom-out': () => stage.zoomBy(1 / kZoomStep, editor.focusPoint()),
    'zoom-fit': () => stage.fit(),
    find: editor.find,
    again: editor.placeAgain,
    refit: editor.refit,
  };
  for (const [id, action] of Object.entries(kClicks)) byId(id).addEventListener('click', action);

  for (const [id, open] of [['photo-file', editor.openFiles], ['folder', editor.openFiles],
                            ['csv-file', ([file]) => editor.openCsv(file)]]) {
    byId(id).addEventListener('change', () => {
      const files = [...byId(id).files];
      byId(id).value = '';  // so that the same file can be opened again
      if (files.length > 0) open(files);
    });
  }

  byId('sides').addEventListener('change', () => editor.setSides(byId('sides').checked));

  byId('stage').addEventListener('dragover', (event) => event.preventDefault());
  byId('stage').addEventListener('drop', (event) => {
    event.preventDefault();
    const {items, files} = event.dataTransfer;
    // From the disk, pages can't look into a folder that is dropped.
    if ([...items].some((item) => item.webkitGetAsEntry?.()?.isDirectory)) {
      editor.say('Open the folder with the button "Open folder", or drop its files.', true);
    } else if (files.length > 0) {
      editor.openFiles([...files]);
    }
  });

  zomu.buildList((id) => {
    choose(id);
    if (doc.step === 3) stage.bringIntoView(doc.points.get(id));
  });
  zomu.drawGuide(byId('guide'), choose);
  editor.render();
})();
