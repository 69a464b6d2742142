// "Find the points": searches the photo, says what it found, and asks which face is meant.
'use strict';

(() => {
  const {doc, view, stage, byId, say, render, frameFace} = zomu.editor;
  const mesh = new zomu.FramedMesh();

  function turnOf(angle) {
    const degrees = Math.round(angle * 180 / Math.PI);
    if (Math.abs(degrees) <= 45) return '';
    if (Math.abs(degrees) >= 135) return ', upside down';
    return degrees > 0 ? ', turned to the right' : ', turned to the left';
  }

  function take(face) {
    view.faces = [];
    doc.load(face.landmarks);
    view.current = zomu.landmarks[0].id;
    render();
    frameFace();
    byId('stage').focus();
  }

  function show(faces, refused) {
    if (faces.length === 0) {
      say(refused.length === 0 ? 'No face was found: click the three points.' :
          `What looks like a face was refused: ${refused[0].why}. Click the three points.`, true);
    } else if (faces.length === 1) {
      take(faces[0]);
      say(`Found one face${turnOf(faces[0].angle)}. Look at each of its 25 landmarks, and drag it to its place.`);
    } else {
      view.faces = faces.sort((a, b) => a.box[0] - b.box[0]);
      view.facesFor = doc.state;
      stage.fit();
      render();
      byId('stage').focus();
      say(`Found ${faces.length} faces. Click the one that you want, or press its number; Escape leaves all as it is.`);
    }
  }

  async function find() {
    if (view.searching) return;
    view.searching = true;
    view.faces = [];
    const {photo} = stage;
    const {state} = doc;
    const isWanted = () => stage.photo === photo && doc.state === state;
    render();
    say('Looking for faces ...');
    try {
      const search = new zomu.FaceSearch(mesh, photo, isWanted);
      const faces = await search.run();
      if (!isWanted()) throw new zomu.FaceSearch.Stopped();
      show(faces, search.refused);
    } catch (problem) {
      if (isWanted()) say(problem.message, true);
      else if (stage.photo === photo) say('Landmarks were changed during the search: press the button again.');
    } finally {
      view.searching = false;
      render();
    }
  }

  // The face that a click or a number means.
  function pickAt({x, y}) {
    const distanceTo = ({box}) => Math.hypot(x - (box[0] + box[2]) / 2, y - (box[1] + box[3]) / 2);
    const inside = view.faces.filter(({box}) => x >= box[0] && y >= box[1] && x <= box[2] && y <= box[3])
        .sort((a, b) => distanceTo(a) - distanceTo(b));
    if (inside.length === 0) say('Click inside the frame of the face that you want, or press Escape.', true);
    else pick(view.faces.indexOf(inside[0]));
  }

  function pick(index) {
    const face = view.faces[index];
    if (face === undefined) return;
    take(face);
    say(`Took face ${index + 1}${turnOf(face.angle)}. Look at each of its 25 landmarks, and drag it to its place.`);
  }

  function pickNone() {
    view.faces = [];
    render();
    say('No face was taken.');
  }

  Object.assign(zomu.editor, {find, pick, pickAt, pickNone});
})();
