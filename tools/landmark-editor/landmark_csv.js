// Landmarks as text: one id,x,y a line, by the rules of pictures/landmark_file.h.
'use strict';

(() => {
  const kNumber = /^[+-]?(\d+\.?\d*|\.\d+)(e[+-]?\d+)?$/i;
  const kDigits = 3;  // after the point

  function fail(line, text) {
    throw new Error(`line ${line}: ${text}`);
  }

  function parseEntry(text, line, points, lineOfId) {
    const fields = text.split(',').map((field) => field.trim());
    if (fields.length !== 3) fail(line, 'expected id,x,y');
    if (!/^\d{1,6}$/.test(fields[0])) fail(line, 'id is not a whole number');
    const id = Number(fields[0]);
    if (!zomu.landmarkById.has(id)) fail(line, `there is no landmark ${id}`);
    if (lineOfId.has(id)) fail(line, `landmark ${id} already appears in line ${lineOfId.get(id)}`);
    for (const [i, name] of [[1, 'x'], [2, 'y']]) {
      if (!kNumber.test(fields[i])) fail(line, `${name} is not a number`);
      if (!Number.isFinite(Math.fround(Number(fields[i])))) fail(line, `${name} is too large`);
    }
    lineOfId.set(id, line);
    points.set(id, {x: Number(fields[1]), y: Number(fields[2])});
  }

  // A Map of id to {x, y}; throws an Error whose message is for people.
  zomu.readCsv = (text) => {
    const points = new Map();
    const lineOfId = new Map();
    let headerAllowed = true;
    text.replace(/^\uFEFF/, '').split('\n').forEach((whole, index) => {
      const line = whole.trim();
      if (line === '') return;
      const isHeader = line.split(',').map((field) => field.trim()).join(',') === 'id,x,y';
      if (!(headerAllowed && isHeader)) parseEntry(line, index + 1, points, lineOfId);
      headerAllowed = false;
    });
    const missing = zomu.landmarks.map((landmark) => landmark.id)
        .filter((id) => !points.has(id) && !zomu.sideIds.includes(id)).sort((a, b) => a - b);
    if (points.size === 0) throw new Error('the file holds no landmarks');
    if (missing.length > 1) {
      throw new Error(`${missing.length} landmarks are missing, the first is ${missing[0]}`);
    }
    if (missing.length === 1) throw new Error(`landmark ${missing[0]} is missing`);
    return points;
  };

  // Ascending ids, thousandths of pixels.
  zomu.writeCsv = (points) => {
    const lines = ['id,x,y'];
    for (const id of [...points.keys()].sort((a, b) => a - b)) {
      const point = points.get(id);
      const [x, y] = [point.x, point.y].map((v) => String(Number(v.toFixed(kDigits))));
      lines.push(`${id},${x},${y}`);
    }
    return lines.join('\n') + '\n';
  };
})();
