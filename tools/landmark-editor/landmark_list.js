// The list of landmarks beside the photo: a list box with a group for each part of the face.
'use strict';

(() => {
  const list = document.getElementById('list');

  function optionOf(landmark, onPick) {
    const option = document.createElement('div');
    option.id = `landmark-${landmark.id}`;
    option.className = 'option';
    option.setAttribute('role', 'option');
    option.dataset.id = landmark.id;
    option.dataset.group = landmark.group;
    for (const [part, text] of [['dot', ''], ['number', landmark.id], ['name', landmark.name],
                                ['place', '']]) {
      const span = document.createElement('span');
      span.className = part;
      span.textContent = text;
      option.append(span);
    }
    option.addEventListener('click', () => onPick(landmark.id));
    return option;
  }

  zomu.buildList = (onPick) => {
    for (const name of zomu.groups) {
      const group = document.createElement('div');
      group.setAttribute('role', 'group');
      group.setAttribute('aria-label', name);
      group.innerHTML = `<div class="group-name" data-group="${name}">${name}</div>`;
      for (const landmark of zomu.landmarks.filter((other) => other.group === name)) {
        group.append(optionOf(landmark, onPick));
      }
      list.append(group);
    }
  };

  // Scrolls the list alone, never the page.
  function revealOption(option) {
    const top = option.offsetTop - list.offsetTop;
    if (top < list.scrollTop + 28) list.scrollTop = top - 28;
    const bottom = top + option.offsetHeight - list.clientHeight;
    if (bottom > list.scrollTop) list.scrollTop = bottom;
  }

  zomu.showList = (doc, view, placeOf) => {
    const visible = doc.visiblePoints();
    for (const option of list.querySelectorAll('[role=option]')) {
      const id = Number(option.dataset.id);
      const point = view.dragged?.id === id ? view.dragged.point : visible.get(id);
      option.hidden = !doc.sides && zomu.sideIds.includes(id);
      option.setAttribute('aria-selected', String(id === view.current));
      option.classList.toggle('moved', doc.moved.has(id));
      option.querySelector('.place').textContent = point && doc.step === 3 ? placeOf(point) : '';
      if (id === view.current) {
        list.setAttribute('aria-activedescendant', option.id);
        revealOption(option);
      }
    }
  };
})();
