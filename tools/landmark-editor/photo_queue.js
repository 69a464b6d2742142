// The photos that were opened together, in the order of their names, each with the file of its landmarks.
'use strict';

(() => {
  const kCsv = /\.csv$/i;
  const kPicture = /\.(avif|bmp|gif|heic|heif|jfif|jpe|jpeg|jpg|png|tif|tiff|webp)$/i;

  const stemOf = (name) => name.replace(/\.[^.]*$/, '');
  const byName = (a, b) => a.name.localeCompare(b.name, 'en', {numeric: true});

  // A chosen folder's files have paths; those of its sub-folders are another folder's business.
  const isBelow = (file) => file.webkitRelativePath.split('/').length > 2;

  zomu.PhotoQueue = class {
    // `files` were chosen or dropped together, or are all of a folder.
    constructor(files) {
      const here = [...files].filter((file) => !isBelow(file)).sort(byName);
      const csvs = new Map(here.filter((file) => kCsv.test(file.name)).map((file) => [stemOf(file.name), file]));
      this.leftOut = [];  // sentences
      this.entries = [];
      const stems = new Map();
      for (const file of here) {
        if (kCsv.test(file.name) || (file.webkitRelativePath !== '' && !kPicture.test(file.name))) continue;
        const stem = stemOf(file.name);
        if (stems.has(stem)) {
          this.leftOut.push(`${file.name} is left out: its landmarks would have the file of ${stems.get(stem)}'s`);
          continue;
        }
        stems.set(stem, file.name);
        this.entries.push({name: file.name, photo: file, csv: csvs.get(stem) ?? null, saved: null, refused: false});
      }
      for (const [stem, file] of csvs) {
        if (!stems.has(stem)) this.leftOut.push(`${file.name} has the name of none of the photos`);
      }
      const below = files.length - here.length;
      if (below > 0) this.leftOut.push(`Files in sub-folders are left out (${below}): open these one by one`);
      this.index = -1;
    }

    get current() {
      return this.entries[this.index];
    }

    // Photos that still want landmarks.
    get left() {
      return this.entries.filter((entry) => !entry.refused && entry.saved === null && entry.csv === null).length;
    }
  };
})();
