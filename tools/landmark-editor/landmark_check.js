// What is wrong with the landmarks of a face in a picture: the check of include/zomu_check.h, word by word
// and sum by sum.
'use strict';

(() => {
  const kEyeDistance = 6.2773;  // of the model
  const kSmallestEyeDistance = 8;
  const kLargestShareOutside = 1 / 3;
  const kLargestResidual = 0.2;
  const kPairLimit = -0.05;
  const kLineLimit = 1e-6;

  // Left and right in the picture.
  const kPairs = [[0, 1], [2, 5], [3, 4], [12, 13], [44, 43], [221, 227], [222, 226], [223, 225],
                  [240, 241], [300, 302], [315, 316]];

  const kModel = new Map(zomu.landmarks.map(({id, at}) => [id, at]).sort((a, b) => a[0] - b[0]));

  const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];

  // The rows of the affine camera with the least squares, by cofactors over the determinant.
  function cameraOf(squares, products) {
    const inverse = [0, 1, 2].map((i) => [0, 1, 2].map((k) => {
      const [a, b, c, d] = [(i + 1) % 3, (i + 2) % 3, (k + 1) % 3, (k + 2) % 3];
      return squares[a][c] * squares[b][d] - squares[a][d] * squares[b][c];
    }));
    const determinant = dot(squares[0], inverse[0]);
    return products.map((sums) => inverse.map((row) => dot(row, sums) / determinant));
  }

  // Scale and rotation whose first two rows are nearest to those of the camera; null where there are none.
  function nearestRotation([a, b]) {
    const [aa, bb, ab] = [dot(a, a), dot(b, b), dot(a, b)];
    const square = aa * bb - ab * ab;
    const mean = (aa + bb) / 2;
    if (!(square > kLineLimit * mean * mean)) return null;
    const [la, lb, r] = [Math.sqrt(aa), Math.sqrt(bb), Math.sqrt(square)];
    const w = la * lb * r + square;
    const ca = lb * ab * ab / (2 * la * w) + (la + lb) / (2 * la);
    const cb = la * ab * ab / (2 * lb * w) + (la + lb) / (2 * lb);
    const first = a.map((value, i) => ca * value - ab / (2 * r) * b[i]);
    const second = b.map((value, i) => cb * value - ab / (2 * r) * a[i]);
    const scale = Math.sqrt(dot(first, first));
    return {scale, rows: [first, second].map((row) => row.map((value) => value / scale))};
  }

  // The head model under a camera without perspective, laid on points in the order of their ids.
  function fitHead(points) {
    const ids = [...points.keys()];
    const origin = points.get(0);
    const places = ids.map((id) => [points.get(id)[0] - origin[0], points.get(id)[1] - origin[1]]);
    const modelMean = [0, 0, 0];
    const imageMean = [0, 0];
    ids.forEach((id, i) => {
      for (let k = 0; k < 3; ++k) modelMean[k] += kModel.get(id)[k] / ids.length;
      for (let k = 0; k < 2; ++k) imageMean[k] += places[i][k] / ids.length;
    });
    const centred = ids.map((id) => kModel.get(id).map((value, k) => value - modelMean[k]));
    const squares = [[0, 0, 0], [0, 0, 0], [0, 0, 0]];
    const products = [[0, 0, 0], [0, 0, 0]];
    centred.forEach((from, row) => {
      for (let i = 0; i < 3; ++i) {
        for (let k = 0; k < 3; ++k) squares[i][k] += from[i] * from[k];
        for (let k = 0; k < 2; ++k) products[k][i] += from[i] * (places[row][k] - imageMean[k]);
      }
    });
    const nearest = nearestRotation(cameraOf(squares, products));
    if (nearest === null) return null;
    const {scale, rows} = nearest;
    const fit = {eyeDistance: scale * kEyeDistance, rows, farthest: 0};
    let [total, largest] = [0, -1];
    centred.forEach((from, row) => {
      let miss = 0;
      for (let k = 0; k < 2; ++k) {
        const along = places[row][k] - imageMean[k] - scale * dot(rows[k], from);
        miss += along * along;
      }
      total += miss;
      if (miss > largest) [largest, fit.farthest] = [miss, ids[row]];
    });
    fit.residual = Math.sqrt(total / ids.length) / fit.eyeDistance;
    fit.facesTheViewer = rows[0][0] * rows[1][1] - rows[0][1] * rows[1][0] > 0;
    return fit;
  }

  // Pairs whose way from left to right runs against that of the fitted model.
  function exchangedPairs(points, fit) {
    return kPairs.filter(([left, right]) => {
      if (!points.has(left) || !points.has(right)) return false;
      const step = kModel.get(right).map((value, i) => value - kModel.get(left)[i]);
      let along = 0;
      for (let k = 0; k < 2; ++k) {
        along += (points.get(right)[k] - points.get(left)[k]) / fit.eyeDistance *
                 (dot(fit.rows[k], step) / kEyeDistance);
      }
      return along < kPairLimit;
    });
  }

  function exchanged(points, pairs) {
    const changed = new Map(points);
    for (const [left, right] of pairs) {
      changed.set(left, points.get(right)).set(right, points.get(left));
    }
    return changed;
  }

  function recordProblem(entries) {
    const least = kModel.size - zomu.sideIds.length;
    if (!(entries.length >= least && entries.length <= kModel.size)) {
      return `${entries.length} landmarks are there, and 25 to 29 are needed`;
    }
    const seen = new Set();
    for (const [id] of entries) {
      if (!kModel.has(id)) return `${id} is not the id of a landmark`;
      if (seen.has(id)) return `landmark ${id} is there twice`;
      seen.add(id);
    }
    const missing = [...kModel.keys()].find((id) => !seen.has(id) && !zomu.sideIds.includes(id));
    return missing === undefined ? null : `landmark ${missing} is missing`;
  }

  // A reflection: where the model's y runs in the picture says which one.
  function mirrored(fit) {
    const [x, y] = [fit.rows[0][1], fit.rows[1][1]];
    if (y < 0 && -y > Math.abs(x)) {
      return ['upside-down',
              'y runs upwards: it counts from the first row of the picture, which is 0, downwards'];
    }
    return ['sides-exchanged', y > Math.abs(x) ?
        'left and right look exchanged in all landmarks: id 0 is the eye on the left of the picture, ' +
            'not the person\'s left eye' :
        'x and y look exchanged, or left and right in all landmarks: x runs to the right, y downwards, ' +
            'and id 0 is the eye on the left of an upright face'];
  }

  function judge(points, width, height) {
    const fit = fitHead(points);
    if (fit === null || !(fit.eyeDistance > 0)) {
      return ['no-fit',
              'the landmarks do not lie like a face: all of them are at one place or on one line'];
    }
    if (!(fit.eyeDistance >= kSmallestEyeDistance)) {
      const tenths = Math.trunc(fit.eyeDistance * 10);
      return ['too-small', `the eyes are ${Math.trunc(tenths / 10)}.${tenths % 10} pixels apart, and 8 are ` +
              'needed: landmarks are pixels of this picture, not fractions of it'];
    }
    const outside = [...points.values()].filter(
        ([x, y]) => !(x >= -0.5 && x <= width - 0.5 && y >= -0.5 && y <= height - 0.5)).length;
    if (!(outside / points.size <= kLargestShareOutside)) {
      return ['outside', `${outside} of ${points.size} landmarks lie outside the picture of ` +
              `${width} x ${height} pixels: are they those of another picture?`];
    }
    // Pairs are named only if they are all that is wrong.
    const pairs = exchangedPairs(points, fit);
    const other = pairs.length > 0 ? fitHead(exchanged(points, pairs)) : null;
    if (other !== null && other.residual <= kLargestResidual && other.facesTheViewer) {
      const names = pairs.map(([left, right]) => `${left} and ${right}`).join(', ');
      return ['pairs-exchanged', `left and right look exchanged: ${names}`];
    }
    if (!(fit.residual <= kLargestResidual)) {
      const hundredths = Math.trunc((fit.residual < 9999 ? fit.residual : 9999) * 100 + 0.5);
      const whole = `${Math.trunc(hundredths / 100)}.${String(hundredths % 100).padStart(2, '0')}`;
      return ['not-a-face', `the landmarks do not lie like a face: they miss the head model by ${whole} eye ` +
              `distances (up to 0.20 is usual), most of all landmark ${fit.farthest}; is the order another one?`];
    }
    return fit.facesTheViewer ? ['good', ''] : mirrored(fit);
  }

  // The fault of a list of [id, x, y] in one word, "good" for none, and a sentence for people.
  zomu.checkLandmarks = (entries, width, height) => {
    const problem = recordProblem(entries);
    if (problem !== null) return {fault: 'record', text: problem};
    // As the library gets them.
    const rounded = new Map(entries.map(([id, x, y]) => [id, [Math.fround(x), Math.fround(y)]]));
    for (const [id, place] of rounded) {
      if (!place.every(Number.isFinite)) {
        return {fault: 'not-finite', text: `landmark ${id} has a coordinate that is not finite`};
      }
    }
    const inOrder = new Map([...kModel.keys()].filter((id) => rounded.has(id)).map((id) => [id, rounded.get(id)]));
    const [fault, text] = judge(inOrder, width, height);
    return {fault, text};
  };
})();
