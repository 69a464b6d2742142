// The head model laid on some landmarks under a scaled orthographic camera.
'use strict';

(() => {
  const kEyeDistance = 6.2773;  // of the model

  // What a turn of one radian to the side, or up and down, costs in eye distances: three points say
  // little about them, and most photos show faces that look at the camera.
  const kTurnCost = [0.15, 0.3];

  const kSteps = 20;
  const kNudge = 1e-5;

  // Pose: [scale x cos(roll), scale x sin(roll), yaw, pitch, x, y].
  function project(pose, at) {
    const [a, b, yaw, pitch, tx, ty] = pose;
    const x = at[0] * Math.cos(yaw) + at[2] * Math.sin(yaw);
    const z = at[2] * Math.cos(yaw) - at[0] * Math.sin(yaw);
    const y = at[1] * Math.cos(pitch) - z * Math.sin(pitch);
    return {x: a * x - b * y + tx, y: b * x + a * y + ty};
  }

  function misses(pose, points, unit) {
    const values = [];
    for (const [id, point] of points) {
      const place = project(pose, zomu.landmarkById.get(id).at);
      values.push((place.x - point.x) / unit, (place.y - point.y) / unit);
    }
    values.push(pose[2] * kTurnCost[0], pose[3] * kTurnCost[1]);
    return values;
  }

  // The best turn and scale in the plane for a face that looks at the camera.
  function startPose(points) {
    const mean = {X: 0, Y: 0, x: 0, y: 0};
    for (const [id, point] of points) {
      const at = zomu.landmarkById.get(id).at;
      mean.X += at[0] / points.size;
      mean.Y += at[1] / points.size;
      mean.x += point.x / points.size;
      mean.y += point.y / points.size;
    }
    let a = 0;
    let b = 0;
    let squares = 0;
    for (const [id, point] of points) {
      const at = zomu.landmarkById.get(id).at;
      const [X, Y] = [at[0] - mean.X, at[1] - mean.Y];
      const [x, y] = [point.x - mean.x, point.y - mean.y];
      a += X * x + Y * y;
      b += X * y - Y * x;
      squares += X * X + Y * Y;
    }
    a /= squares;
    b /= squares;
    return [a, b, 0, 0, mean.x - (a * mean.X - b * mean.Y), mean.y - (b * mean.X + a * mean.Y)];
  }

  // Solves the symmetric system m x = v by elimination; null where it is singular.
  function solve(m, v) {
    const n = v.length;
    const rows = m.map((row, i) => [...row, v[i]]);
    for (let i = 0; i < n; ++i) {
      let pivot = i;
      for (let k = i + 1; k < n; ++k) {
        if (Math.abs(rows[k][i]) > Math.abs(rows[pivot][i])) pivot = k;
      }
      [rows[i], rows[pivot]] = [rows[pivot], rows[i]];
      if (!(Math.abs(rows[i][i]) > 1e-12)) return null;
      for (let k = i + 1; k < n; ++k) {
        const factor = rows[k][i] / rows[i][i];
        for (let j = i; j <= n; ++j) rows[k][j] -= factor * rows[i][j];
      }
    }
    for (let i = n - 1; i >= 0; --i) {
      for (let k = i + 1; k < n; ++k) rows[i][n] -= rows[i][k] * rows[k][n];
      rows[i][n] /= rows[i][i];
    }
    return rows.map((row) => row[n]);
  }

  function gaussNewtonStep(pose, points, unit) {
    const values = misses(pose, points, unit);
    const columns = pose.map((value, j) => {
      const nudge = kNudge * (j < 2 ? unit / kEyeDistance : 1);
      const moved = pose.slice();
      moved[j] += nudge;
      return misses(moved, points, unit).map((v, i) => (v - values[i]) / nudge);
    });
    const dot = (p, q) => p.reduce((sum, v, i) => sum + v * q[i], 0);
    const step = solve(columns.map((p) => columns.map((q) => dot(p, q))),
                       columns.map((p) => dot(p, values)));
    return step === null ? pose : pose.map((value, j) => value - step[j]);
  }

  // Places for all landmarks from those that are known: a Map of id to {x, y}, three or more. Null where
  // the known ones lie at one place.
  zomu.placeLandmarks = (points) => {
    let pose = startPose(points);
    const unit = Math.hypot(pose[0], pose[1]) * kEyeDistance;
    if (!(unit > 1)) return null;
    for (let i = 0; i < kSteps; ++i) pose = gaussNewtonStep(pose, points, unit);
    const placed = new Map();
    for (const landmark of zomu.landmarks) {
      placed.set(landmark.id, points.get(landmark.id) ?? project(pose, landmark.at));
    }
    return placed;
  };
})();
