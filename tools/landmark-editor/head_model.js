// The landmarks: ids, names, groups, and the head model that belongs to them.
'use strict';

const zomu = {};

// Model units: x across the face (negative is left in the picture), y down it, z towards the viewer.
// `label` is where the number stands beside the mark.
zomu.landmarks = [
  {id: 0, group: 'Eyes', name: 'centre, left', at: [-3.227, -3.484, 9.589], label: 'n'},
  {id: 1, group: 'Eyes', name: 'centre, right', at: [3.05, -3.546, 9.59], label: 'n'},
  {id: 223, group: 'Eyes', name: 'outer corner, left', at: [-4.436, -3.397, 8.747], label: 'w'},
  {id: 225, group: 'Eyes', name: 'outer corner, right', at: [4.376, -3.418, 8.762], label: 'e'},
  {id: 221, group: 'Eyes', name: 'inner corner, left', at: [-1.782, -3.277, 9.267], label: 'n'},
  {id: 227, group: 'Eyes', name: 'inner corner, right', at: [1.626, -3.367, 9.263], label: 'n'},
  {id: 222, group: 'Eyes', name: 'lower lid, left', at: [-3.255, -2.946, 9.531], label: 's'},
  {id: 226, group: 'Eyes', name: 'lower lid, right', at: [3.056, -2.961, 9.522], label: 's'},
  {id: 2, group: 'Brows', name: 'outer end, left', at: [-5.7, -4.652, 8.292], label: 'w'},
  {id: 5, group: 'Brows', name: 'outer end, right', at: [5.705, -4.704, 8.148], label: 'e'},
  {id: 300, group: 'Brows', name: 'middle, left', at: [-3.956, -5.678, 10.06], label: 'n'},
  {id: 302, group: 'Brows', name: 'middle, right', at: [3.664, -5.768, 10.18], label: 'n'},
  {id: 3, group: 'Brows', name: 'inner end, left', at: [-1.549, -5.085, 10.83], label: 'n'},
  {id: 4, group: 'Brows', name: 'inner end, right', at: [1.612, -5.106, 10.83], label: 'n'},
  {id: 6, group: 'Nose', name: 'between the eyes', at: [-0.0185, -3.543, 11.07], label: 'n'},
  {id: 9, group: 'Nose', name: 'tip', at: [0.01795, -0.2319, 13.32], label: 'n'},
  {id: 200, group: 'Nose', name: 'base', at: [-0.01402, 1.045, 11.69], label: 'e'},
  {id: 44, group: 'Nose', name: 'wing, left', at: [-1.74, 0.2793, 10.69], label: 'w'},
  {id: 43, group: 'Nose', name: 'wing, right', at: [1.661, 0.3568, 10.66], label: 'e'},
  {id: 12, group: 'Mouth', name: 'corner, left', at: [-2.673, 3.301, 10.002], label: 'w'},
  {id: 13, group: 'Mouth', name: 'corner, right', at: [2.528, 3.315, 9.962], label: 'e'},
  {id: 10, group: 'Mouth', name: 'upper lip', at: [-0.02015, 2.274, 11.62], label: 'w'},
  {id: 45, group: 'Mouth', name: 'centre', at: [0.07737, 3.101, 11.32], label: 'e'},
  {id: 11, group: 'Mouth', name: 'lower lip', at: [-0.04147, 4.102, 11.41], label: 's'},
  {id: 314, group: 'Head', name: 'chin', at: [-0.0435, 6.917, 10.75], label: 's'},
  {id: 240, group: 'Head', name: 'side of the head, left', at: [-7.386, 0.05087, 1.039], label: 'w'},
  {id: 241, group: 'Head', name: 'side of the head, right', at: [7.377, 0.0564, 1.298], label: 'e'},
  {id: 315, group: 'Head', name: 'angle of the jaw, left', at: [-6.365, 3.718, 3.913], label: 'w'},
  {id: 316, group: 'Head', name: 'angle of the jaw, right', at: [6.252, 3.752, 3.822], label: 'e'},
];

zomu.groups = ['Eyes', 'Brows', 'Nose', 'Mouth', 'Head'];

zomu.landmarkById = new Map(zomu.landmarks.map((landmark) => [landmark.id, landmark]));

// At the sides of the head; a record may leave them out.
zomu.sideIds = [240, 241, 315, 316];

// What the first clicks mark: both eyes and the mouth.
zomu.anchorIds = [0, 1, 45];
