// The guide picture: a face drawn from the head model, with all landmarks and their numbers.
'use strict';

(() => {
  const kSvg = 'http://www.w3.org/2000/svg';
  // From a mark to its number, in model units, and how the number stands there.
  const kLabels = {
    n: [0, -0.66, 'middle'],
    s: [0, 0.74, 'middle'],
    w: [-0.44, 0, 'end'],
    e: [0.44, 0, 'start'],
  };

  const xy = (id) => zomu.landmarkById.get(id).at.slice(0, 2);
  const at = (id, dx = 0, dy = 0) => `${xy(id)[0] + dx} ${xy(id)[1] + dy}`;

  const eye = (outer, middle, inner) =>
      `M ${at(outer)} Q ${at(middle, 0, -1.15)} ${at(inner)} Q ${at(middle, 0, 1.0)} ${at(outer)} Z`;

  const kLines = [
    'M -7.38 0.05 C -7.2 1.5 -6.9 2.6 -6.36 3.7 C -5 5.6 -2.2 6.95 -0.04 6.95 C 2.2 6.95 5 5.6 6.25 3.75 ' +
        'C 6.9 2.6 7.2 1.5 7.38 0.05 C 7.9 -5.6 5.2 -8.9 0 -8.9 C -5.2 -8.9 -7.9 -5.6 -7.38 0.05 Z',
    `M ${at(2)} Q ${at(300, 0.1, -0.5)} ${at(3)}`,
    `M ${at(5)} Q ${at(302, -0.1, -0.5)} ${at(4)}`,
    eye(223, 0, 221),
    eye(225, 1, 227),
    `M ${at(44)} Q ${at(44, 0.15, 1.05)} ${at(200)} Q ${at(43, -0.15, 1)} ${at(43)}`,
    `M ${at(12)} Q ${at(10, -0.9, -0.35)} ${at(10)} Q ${at(10, 0.9, -0.35)} ${at(13)} ` +
        `Q ${at(11, 0, 0.75)} ${at(12)} Q ${at(45, 0, -0.1)} ${at(13)}`,
  ];

  function element(parent, name, attributes, text = '') {
    const node = document.createElementNS(kSvg, name);
    for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
    node.textContent = text;
    parent.append(node);
    return node;
  }

  zomu.drawGuide = (svg, onPick) => {
    for (const d of kLines) element(svg, 'path', {d, class: 'guide-line'});
    for (const landmark of zomu.landmarks) {
      const [x, y] = landmark.at;
      const [dx, dy, anchor] = kLabels[landmark.label];
      const mark = element(svg, 'g', {'class': 'guide-mark', 'data-id': landmark.id,
                                      'data-group': landmark.group});
      element(mark, 'circle', {cx: x, cy: y, r: 0.75, class: 'guide-target'});
      element(mark, 'circle', {cx: x, cy: y, r: 0.21, class: 'guide-dot'});
      element(mark, 'text', {x: x + dx, y: y + dy, 'text-anchor': anchor}, String(landmark.id));
      mark.addEventListener('click', () => onPick(landmark.id));
    }
  };

  zomu.showInGuide = (svg, id) => {
    for (const mark of svg.querySelectorAll('.guide-mark')) {
      mark.classList.toggle('current', Number(mark.dataset.id) === id);
    }
  };
})();
