// Nothing that isn't saved is lost without a question.
'use strict';

(() => {
  const {byId, doc, view} = zomu.editor;
  const dialog = byId('unsaved');
  let asking = null;

  function ask() {
    byId('unsaved-text').textContent = `The landmarks of ${view.photoName} are not saved.`;
    byId('unsaved-save').hidden = doc.step < 3;
    dialog.returnValue = '';
    dialog.showModal();
    return new Promise((resolve) => {
      dialog.addEventListener('close', () => resolve(dialog.returnValue), {once: true});
    });
  }

  async function decide() {
    const answer = await ask();
    if (answer === 'save') return zomu.editor.saveCsv();
    return answer === 'discard';
  }

  // Whether what is edited may be replaced. Who asks while the question is open gets the same answer.
  zomu.editor.mayLeave = () => {
    if (!doc.unsaved) return Promise.resolve(true);
    asking ??= decide().finally(() => {
      asking = null;
    });
    return asking;
  };

  // Browsers have words of their own for this.
  window.addEventListener('beforeunload', (event) => {
    if (doc.unsaved) event.preventDefault();
  });
})();
