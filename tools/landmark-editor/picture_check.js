// What the tools refuse about a picture file: the limits and the damage that pictures/ finds, as far as the
// bytes show them before the pixels are decoded. A browser reads more kinds of files, and shows part of a
// damaged one.
'use strict';

(() => {
  const kFileLimit = 2 ** 30;
  const kPixelLimit = 2 ** 28;
  const kScanLimit = 100;
  const kFullSizeScans = 16;
  const kSmallestSide = 2;

  const kPngSignature = [0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A];
  const kJpegSignature = [0xFF, 0xD8, 0xFF];

  // Names of other kinds of files, by the bytes at a place.
  const kOtherKinds = [
    ['GIF', 0, 'GIF8'], ['WebP', 8, 'WEBP'], ['AVIF', 4, 'ftypavif'], ['AVIF', 4, 'ftypavis'],
    ['HEIC', 4, 'ftyphei'], ['HEIC', 4, 'ftyphev'], ['HEIC', 4, 'ftypmif1'], ['HEIC', 4, 'ftypmsf1'],
    ['TIFF', 0, 'II*\0'], ['TIFF', 0, 'MM\0*'], ['BMP', 0, 'BM'], ['PDF', 0, '%PDF-'],
    ['JPEG XL', 0, '\xFF\x0A'], ['JPEG XL', 4, 'JXL \r\n'], ['JPEG 2000', 4, 'jP  \r\n'],
  ];

  const textAt = (bytes, place, length) => String.fromCharCode(...bytes.subarray(place, place + length));

  // Markers of JPEG that give the size; those between them say other things.
  const kFirstFrame = 0xC0;
  const kLastFrame = 0xCF;
  const kNoFrames = [0xC4, 0xC8, 0xCC];
  const kEndOfImage = 0xD9;
  const kStartOfScan = 0xDA;

  const kCrcTable = Uint32Array.from({length: 256}, (_, n) => {
    for (let k = 0; k < 8; ++k) n = n & 1 ? 0xEDB88320 ^ (n >>> 1) : n >>> 1;
    return n;
  });

  function crcOf(bytes) {
    let crc = 0xFFFFFFFF;
    for (const byte of bytes) crc = kCrcTable[(crc ^ byte) & 0xFF] ^ (crc >>> 8);
    return (crc ^ 0xFFFFFFFF) >>> 0;
  }

  const startsWith = (bytes, signature) => signature.every((byte, i) => bytes[i] === byte);

  function sizeProblem(width, height) {
    if (width > Math.floor(kPixelLimit / height)) {
      return `is too large: ${width} x ${height} pixels; shrink it to at most ${Math.floor(kPixelLimit / 1e6)} million`;
    }
    if (width < kSmallestSide || height < kSmallestSide) return 'is smaller than 2 x 2 pixels';
    return '';
  }

  // After the signature, each chunk is length, type, contents and checksum. Those with a capital letter
  // first decide about the pixels.
  function pngProblem(bytes) {
    const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
    let pixels = false;
    for (let at = kPngSignature.length; at + 12 <= bytes.length;) {
      const length = view.getUint32(at);
      const type = String.fromCharCode(...bytes.subarray(at + 4, at + 8));
      const critical = type[0] < 'a';
      const whole = length <= bytes.length - at - 12;
      if (critical && !whole) return 'is a damaged PNG: it is cut off; take another copy';
      if (critical && crcOf(bytes.subarray(at + 4, at + 8 + length)) !== view.getUint32(at + 8 + length)) {
        return `is a damaged PNG: the checksum of its ${type} is wrong; take another copy`;
      }
      if (type === 'IHDR' && length >= 8) {
        const problem = sizeProblem(view.getUint32(at + 8), view.getUint32(at + 12));
        if (problem !== '') return problem;
      }
      pixels ||= type === 'IDAT';
      if (!whole || type === 'IEND') break;
      at += 12 + length;
    }
    return pixels ? '' : 'is a damaged PNG: it holds no pixels; take another copy';
  }

  // The pixels of a scan hold 0xFF only before a zero or a restart marker.
  function behindScan(bytes, start) {
    for (let at = bytes.indexOf(0xFF, start); at >= 0; at = bytes.indexOf(0xFF, at + 2)) {
      const next = bytes[at + 1] ?? kEndOfImage;
      if (next !== 0 && (next < 0xD0 || next > 0xD7)) return at;
    }
    return bytes.length;
  }

  // The frame's width, height and number of components, how many scans there are, and whether it ends.
  function jpegOutline(bytes) {
    const outline = {frame: null, scans: 0, ends: false};
    const short = (at) => bytes[at] * 256 + bytes[at + 1];
    for (let at = 0; bytes[at] === 0xFF && at + 1 < bytes.length;) {
      const marker = bytes[at + 1];
      if (marker === 0xFF) {
        ++at;
        continue;
      }
      at += 2;
      if (marker === kEndOfImage) {
        outline.ends = at <= bytes.length;
        break;
      }
      if (marker === 0x01 || (marker >= 0xD0 && marker <= 0xD8)) continue;
      if (at + 2 > bytes.length || short(at) < 2 || short(at) > bytes.length - at) break;
      if (marker >= kFirstFrame && marker <= kLastFrame && !kNoFrames.includes(marker) && short(at) >= 8) {
        outline.frame ??= {height: short(at + 3), width: short(at + 5), components: bytes[at + 7]};
      }
      at += short(at);
      if (marker === kStartOfScan) {
        ++outline.scans;
        at = behindScan(bytes, at);
      }
    }
    return outline;
  }

  function jpegProblem(bytes) {
    const {frame, scans, ends} = jpegOutline(bytes);
    if (frame === null || frame.width === 0 || frame.height === 0) return 'is a damaged JPEG: it has no size; take another copy';
    const {width, height, components} = frame;
    if (components === 4) return 'is a JPEG in printing colours, which are not supported; convert it to RGB';
    const pixels = width * height;
    if (scans > kScanLimit || (pixels <= kPixelLimit && pixels * scans > kFullSizeScans * kPixelLimit)) {
      return `is a JPEG with too many scans: ${scans}; save it again`;
    }
    const problem = sizeProblem(width, height);
    if (problem !== '') return problem;
    return ends ? '' : 'is a damaged JPEG: it is cut off; take another copy';
  }

  // Why the tools refuse a file of at most kFileLimit bytes; empty where these show nothing.
  zomu.pictureProblem = (bytes) => {
    if (startsWith(bytes, kPngSignature)) return pngProblem(bytes);
    if (startsWith(bytes, kJpegSignature)) return jpegProblem(bytes);
    if (bytes.length === 0) return 'is neither PNG nor JPEG but empty; take another copy';
    const other = kOtherKinds.find(([, place, text]) => textAt(bytes, place, text.length) === text);
    return `is neither PNG nor JPEG${other ? ` but ${other[0]}; convert it` : '; convert it, or take another'}`;
  };

  // The upright photo of a file; throws an Error whose message is for people.
  zomu.readPhoto = async (file) => {
    const refuse = (problem) => {
      throw new Error(`${file.name} ${problem}`);
    };
    if (file.size > kFileLimit) refuse(`is larger than ${kFileLimit} bytes`);
    let bytes;
    try {
      bytes = new Uint8Array(await file.arrayBuffer());
    } catch {
      refuse('cannot be read any more: open it again');
    }
    const problem = zomu.pictureProblem(bytes);
    if (problem !== '') refuse(problem);
    try {
      // Upright, as all readers of this project turn it: landmarks mean the upright picture.
      return await createImageBitmap(file, {imageOrientation: 'from-image'});
    } catch {
      return refuse('is damaged: this browser cannot read its pixels; take another copy');
    }
  };
})();
