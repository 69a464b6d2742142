// Runs the face mesh that scripts/fetch-face-mesh.sh fetches, in a frame of its own: its scripts need rights that
// the page does without. The page sends a port, and through it square pictures, one at a time.
'use strict';

(() => {
  const kTypes = {js: 'text/javascript', wasm: 'application/wasm'};
  const kMostFaces = 12;
  const canvas = document.createElement('canvas');
  const blank = document.createElement('canvas');
  let last = '';  // what the mesh complained of
  let found = [];

  function addressOf([name, base64]) {
    const bytes = Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0));
    return [name, URL.createObjectURL(new Blob([bytes], {type: kTypes[name.split('.').pop()] ?? ''}))];
  }

  function run(address) {
    return new Promise((resolve, reject) => {
      const script = document.createElement('script');
      script.onload = resolve;
      script.onerror = () => reject(new Error('its script cannot be run'));
      script.src = address;
      document.head.append(script);
    });
  }

  async function start() {
    const addresses = new Map(Object.entries(globalThis.faceMeshFiles).map(addressOf));
    delete globalThis.faceMeshFiles;
    await run(addresses.get('face_mesh.js'));
    const mesh = new FaceMesh({
      // Without vector instructions it asks for files that are not there.
      locateFile: (name) => addresses.get(name) ?? 'data:,',
    });
    mesh.setOptions({maxNumFaces: kMostFaces, useCpuInference: true});
    mesh.onResults((results) => {
      found = results.multiFaceLandmarks ?? [];
    });
    await mesh.initialize();
    return mesh;
  }

  async function look(mesh, image) {
    for (const other of [canvas, blank]) {
      other.width = image.width;
      other.height = image.height;
    }
    blank.getContext('2d').fillRect(0, 0, image.width, image.height);
    canvas.getContext('2d').drawImage(image, 0, 0);
    image.close();
    // It takes pictures for those of a film: with nothing in between it would look where the last face was.
    await mesh.send({image: blank});
    await mesh.send({image: canvas});
    return found.map((points) => points.map(({x, y}) => [x, y]));
  }

  window.alert = (text) => {
    last = text;
  };
  for (const name of ['log', 'warn']) console[name] = () => {};  // it tells of its progress
  console.error = (text) => {
    last = String(text);
  };

  window.addEventListener('message', (event) => {
    const [port] = event.ports;
    if (event.source !== parent || port === undefined) return;
    if (globalThis.faceMeshFiles === undefined) {
      port.postMessage({absent: true});
      return;
    }
    let mesh = null;
    port.onmessage = async ({data: image}) => {
      try {
        mesh ??= start();
        port.postMessage({meshes: await look(await mesh, image)});
      } catch (problem) {
        port.postMessage({problem: last || String(problem?.message ?? problem)});
      }
    };
    port.postMessage({ready: true});
  });
})();
