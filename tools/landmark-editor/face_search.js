// Searches a photo for faces with the face mesh, and believes only what it finds again: upright, mirrored, from
// farther away, and the other way up. Places in the photo count from its corner here, so that the first pixel's
// centre is at 0.5.
'use strict';

(() => {
  const kCropSide = 256;  // pixels that the mesh gets

  // Squares of at least so many pixels are searched in any case, down to quarters of the photo; smaller ones, down
  // to an eighth of it, as long as nothing has been found.
  const kAlways = 400;
  const kAlwaysLevels = 3;
  const kLevels = 4;
  const kSmallestSquare = 128;

  // Another size of the same face may please the mesh more.
  const kBetween = [-0.5, 0.5];

  // Crops around a face, in sides of the smallest upright square around it.
  const kFaceSide = 2;
  const kWideSide = 2.7;

  const kAgreement = 0.08;   // eye distances by which two looks may differ
  const kUnseen = 1;         // for a look that doesn't see the face
  const kClearly = 1.5;      // times better, the right way up
  const kSameFace = 0.3;     // share of the area that two boxes of one face have in common

  const kLeft = 33;   // outer corners of the eyes
  const kRight = 263;
  const kEyeDistance = 0.7;  // of the way between these, nearly

  const span = (mesh) => [mesh[kRight][0] - mesh[kLeft][0], mesh[kRight][1] - mesh[kLeft][1]];
  const angleOf = (mesh) => Math.atan2(span(mesh)[1], span(mesh)[0]);
  const eyeDistanceOf = (mesh) => kEyeDistance * Math.hypot(...span(mesh));

  function boundsOf(mesh) {
    const [xs, ys] = [mesh.map((point) => point[0]), mesh.map((point) => point[1])];
    return [Math.min(...xs), Math.min(...ys), Math.max(...xs), Math.max(...ys)];
  }

  // The common area of two boxes by that of both together.
  function overlap(a, b) {
    const width = Math.min(a[2], b[2]) - Math.max(a[0], b[0]);
    const height = Math.min(a[3], b[3]) - Math.max(a[1], b[1]);
    if (width <= 0 || height <= 0) return 0;
    const area = (box) => (box[2] - box[0]) * (box[3] - box[1]);
    return width * height / (area(a) + area(b) - width * height);
  }

  const isSameFace = (a, b) => overlap(boundsOf(a), boundsOf(b)) > kSameFace;
  const isSameWayUp = (a, b) => Math.cos(angleOf(a) - angleOf(b)) > 0.5;

  const difference = (a, b) => a.reduce((sum, [x, y], i) => sum + Math.hypot(x - b[i][0], y - b[i][1]), 0) / a.length;
  const meanOf = (a, b) => a.map(([x, y], i) => [(x + b[i][0]) / 2, (y + b[i][1]) / 2]);

  // The upright square around a face.
  function squareAround(mesh, sides = kFaceSide, turn = 0) {
    const angle = angleOf(mesh);
    const [cos, sin] = [Math.cos(angle), Math.sin(angle)];
    const [left, top, right, bottom] = boundsOf(mesh.map(([x, y]) => [x * cos + y * sin, y * cos - x * sin]));
    const [u, v] = [(left + right) / 2, (top + bottom) / 2];
    const side = sides * Math.max(right - left, bottom - top);
    return {x: u * cos - v * sin, y: u * sin + v * cos, side, angle: angle + turn};
  }

  // Centres of squares that cover a length, each overlapping the next by half at least.
  function centres(length, side) {
    if (length <= side) return [length / 2];
    const count = Math.ceil((length - side) / (side / 2)) + 1;
    return Array.from({length: count}, (_, i) => side / 2 + (length - side) * i / (count - 1));
  }

  function squaresOf({width, height}, level, angle) {
    const side = Math.max(width, height) / 2 ** level;
    return centres(height, side).flatMap((y) => centres(width, side).map((x) => ({x, y, side, angle})));
  }

  // Lists of squares to look at, first those of an upright photo, then with fainter hope.
  function* searches(photo) {
    const longest = Math.max(photo.width, photo.height);
    const always = [0];
    while (always.length < kAlwaysLevels && longest / 2 ** always.length >= kAlways) always.push(always.length);
    const squares = (levels, quarters = 0) =>
        levels.flatMap((level) => squaresOf(photo, level, quarters * Math.PI / 2));
    yield squares(always);
    yield squares(kBetween);
    for (const quarters of [2, 1, 3]) yield squares(always, quarters);
    for (let level = always.length; level < kLevels && longest / 2 ** level >= kSmallestSquare; ++level) {
      yield squares([level]);
    }
  }

  zomu.FaceSearch = class {
    // `isWanted` says whether the search shall go on.
    constructor(faceMesh, photo, isWanted) {
      Object.assign(this, {faceMesh, photo, isWanted, refused: []});
    }

    // The meshes that are seen in a square of the photo, or in its mirror image.
    async look(square, isMirrored = false) {
      if (!this.isWanted()) throw new zomu.FaceSearch.Stopped();
      const crop = new OffscreenCanvas(kCropSide, kCropSide);
      const context = crop.getContext('2d');
      context.imageSmoothingQuality = 'high';
      context.translate(kCropSide / 2, kCropSide / 2);
      if (isMirrored) context.scale(-1, 1);
      context.scale(kCropSide / square.side, kCropSide / square.side);
      context.rotate(-square.angle);
      context.translate(-square.x, -square.y);
      context.drawImage(this.photo, 0, 0);
      const meshes = await this.faceMesh.meshesIn(crop.transferToImageBitmap());
      const [cos, sin] = [Math.cos(square.angle) * square.side, Math.sin(square.angle) * square.side];
      return meshes.map((points) => {
        const places = points.map(([u, v]) => {
          const [a, b] = [isMirrored ? 0.5 - u : u - 0.5, v - 0.5];
          return [square.x + a * cos - b * sin, square.y + a * sin + b * cos];
        });
        return isMirrored ? zomu.meshPartners.map((partner) => places[partner]) : places;
      });
    }

    // What a look gives for a face that is already known; null where it isn't seen.
    async lookAgain(mesh, square, isMirrored = false) {
      const same = (await this.look(square, isMirrored)).filter((other) => isSameFace(other, mesh));
      return same.reduce((best, other) =>
          best === null || difference(other, mesh) < difference(best, mesh) ? other : best, null);
    }

    // The mean of two looks at an upright face, one of them in a mirror; by how much they and the look before are
    // apart, in eye distances; and by how much these or a wider look. Null where it isn't seen in both.
    async confirm(mesh) {
      const square = squareAround(mesh);
      const plain = await this.lookAgain(mesh, square);
      const mirrored = plain && await this.lookAgain(mesh, square, true);
      if (mirrored === null) return null;
      const wide = await this.lookAgain(mesh, squareAround(mesh, kWideSide));
      const size = eyeDistanceOf(plain);
      const apart = Math.max(difference(plain, mesh), difference(plain, mirrored)) / size;
      const doubt = Math.max(apart, wide === null ? kUnseen : difference(plain, wide) / size);
      return {mesh: meanOf(plain, mirrored), apart, doubt};
    }

    // A face the right way up. The mesh takes many that are upside down for upright ones, but then its looks
    // differ more. A string says why it is refused.
    async judge(mesh) {
      const first = await this.lookAgain(mesh, squareAround(mesh));
      const own = first && await this.confirm(first);
      const turned = await this.lookAgain(mesh, squareAround(mesh, kFaceSide, Math.PI));
      const other = turned === null || isSameWayUp(turned, mesh) ? null : await this.confirm(turned);
      const ways = [own, other].filter((way) => way !== null).sort((a, b) => a.doubt - b.doubt);
      const [best, worst] = ways;
      if (best === undefined || best.apart > kAgreement) return 'it looks different each time';
      if (worst !== undefined && worst.doubt < kClearly * best.doubt) return 'it is not clear which way up it is';
      return best.mesh;
    }

    async facesIn(squares) {
      const seen = [];
      for (const square of squares) {
        for (const mesh of await this.look(square)) {
          if (!seen.some((other) => isSameFace(mesh, other))) seen.push(mesh);
        }
      }
      const faces = [];
      for (const mesh of seen) {
        // What was refused gets no second chance to pass by luck when the photo is turned.
        if (this.refused.some((other) => isSameFace(mesh, other.mesh) && isSameWayUp(mesh, other.mesh))) continue;
        const result = await this.judge(mesh);
        if (typeof result === 'string') this.refused.push({mesh, why: result});
        else if (!faces.some((other) => isSameFace(result, other))) faces.push(result);
      }
      return faces;
    }

    // Faces whose landmarks the check finds good, and why others were refused.
    async run() {
      for (const squares of searches(this.photo)) {
        const faces = (await this.facesIn(squares)).map((mesh) => ({landmarks: zomu.landmarksOfMesh(mesh), mesh}));
        const good = faces.filter(({landmarks, mesh}) => {
          const entries = [...landmarks].map(([id, {x, y}]) => [id, x, y]);
          const {text} = zomu.checkLandmarks(entries, this.photo.width, this.photo.height);
          if (text !== '') this.refused.push({mesh, why: text});
          return text === '';
        });
        if (good.length > 0) {
          return good.map(({landmarks, mesh}) => ({landmarks, box: boundsOf(mesh), angle: angleOf(mesh)}));
        }
      }
      return [];
    }
  };

  zomu.FaceSearch.Stopped = class extends Error {};

  // In pixels from the centre of the first, as all landmarks.
  zomu.landmarksOfMesh = (mesh) => new Map([...zomu.meshMeans].map(([id, means]) => {
    const total = means.reduce((sum, [, weight]) => sum + weight, 0);
    const along = (axis) => means.reduce((sum, [point, weight]) => sum + weight / total * mesh[point][axis], -0.5);
    return [id, {x: along(0), y: along(1)}];
  }));
})();
