// The page's end of the face mesh, which runs in a frame of its own (mesh_frame.js).
'use strict';

(() => {
  const kPatience = 60000;  // milliseconds
  const kAbsent = 'For this the face mesh is needed, which is not here yet: run scripts/fetch-face-mesh.sh once ' +
      '(14 MB, from the npm registry), then press the button again. The three clicks work without it.';

  zomu.FramedMesh = class {
    // The answer to what is sent through the port; throws an Error whose message is for people.
    async ask(message, transfer = []) {
      const answer = new Promise((resolve, reject) => {
        this.port.onmessage = ({data}) => resolve(data);
        this.waiting = setTimeout(() => reject(new Error('The face mesh does not answer: try again.')), kPatience);
      });
      if (message !== null) this.port.postMessage(message, transfer);
      const {absent, problem, meshes} = await answer.finally(() => clearTimeout(this.waiting));
      if (absent) throw new Error(kAbsent);
      if (problem) throw new Error(`The face mesh cannot run here: ${problem} The three clicks work without it.`);
      return meshes;
    }

    async start() {
      this.frame = document.createElement('iframe');
      this.frame.hidden = true;
      this.frame.title = 'Face mesh';
      this.frame.src = 'mesh_frame.html';
      const loaded = new Promise((resolve) => {
        this.frame.onload = resolve;
      });
      document.body.append(this.frame);
      await loaded;
      const {port1, port2} = new MessageChannel();
      this.port = port1;
      this.frame.contentWindow.postMessage('', '*', [port2]);
      await this.ask(null);
    }

    // The meshes of all faces in a square picture: lists of [x, y] from 0 to 1. After a failure the next call
    // starts anew.
    async meshesIn(image) {
      try {
        if (this.frame === undefined) await this.start();
        return await this.ask(image, [image]);
      } catch (problem) {
        this.frame.remove();
        delete this.frame;
        throw problem;
      }
    }
  };
})();
