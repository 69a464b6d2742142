// Puts the times of dump_stages, run_networks.mjs and peer_path.py side by side.
//
//   node report.mjs PEERS.json ROUND_FOLDER...
//
// Each folder holds the files of one round for 1 and for 2 threads. A time is the median over the
// rounds of the medians within a round. Prints the table and writes it to PEERS.json.
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

const kThreads = [1, 2];
const kStages = ['patches', 'networks', 'projection'];

const [target, ...folders] = process.argv.slice(2);
if (folders.length === 0) {
    console.error('usage: report.mjs PEERS.json ROUND_FOLDER...');
    process.exit(2);
}

const readAll = (name) =>
    folders.map((folder) => JSON.parse(fs.readFileSync(path.join(folder, name), 'utf8')));

// The times of one way to do a stage, one for each round.
function overRounds(entries) {
    const medians = entries.map((entry) => entry.median).sort((a, b) => a - b);
    return {
        ms: medians[Math.floor(medians.length / 2)],
        fastestRound: medians[0],
        slowestRound: medians[medians.length - 1],
    };
}

const ours = [];
const peer = [];
const comparison = { networks: {}, patches: {}, projection: {} };
const worst = (entries, key) => Math.max(...entries.map((entry) => entry[key]));

for (const threads of kThreads) {
    const stages = readAll(`ours-${threads}.json`);
    for (const stage of [...kStages, 'whole']) {
        ours.push({ stage, threads, ...overRounds(stages.map((round) => round[stage])) });
    }
    const networks = readAll(`networks-${threads}.json`);
    for (const way of Object.keys(networks[0].ways)) {
        const rounds = networks.map((round) => round.ways[way]);
        peer.push({ stage: 'networks', threads, way, ...overRounds(rounds) });
        comparison.networks[`${way}, ${threads}`] = {
            absolute: worst(rounds, 'absolute'),
            relative: worst(rounds, 'relative'),
            bound: networks[0].bound,
        };
    }
    const paths = readAll(`path-${threads}.json`);
    for (const way of Object.keys(paths[0].patches)) {
        const rounds = paths.map((round) => round.patches[way]);
        peer.push({ stage: 'patches', threads, way, ...overRounds(rounds) });
        const { same, withinOne, largest, mean } = rounds[0];
        comparison.patches[`${way}, ${threads}`] = { same, withinOne, largest, mean };
    }
    const projections = paths.map((round) => round.projection);
    peer.push({ stage: 'projection', threads, way: 'matrix x vector', ...overRounds(projections) });
    comparison.projection[threads] = {
        absolute: worst(projections, 'absolute'),
        relative: worst(projections, 'relative'),
        bound: projections[0].bound,
    };
}

// The fastest way that does not use more threads: with two, one may stay idle.
function fastestPeer(stage, threads) {
    const candidates = peer.filter((entry) => entry.stage === stage && entry.threads <= threads);
    return candidates.reduce((best, entry) => (entry.ms < best.ms ? entry : best));
}

const table = [];
for (const threads of kThreads) {
    const timeOfOurs = (stage) =>
        ours.find((entry) => entry.stage === stage && entry.threads === threads).ms;
    let sum = 0;
    for (const stage of kStages) {
        const best = fastestPeer(stage, threads);
        sum += best.ms;
        table.push({ stage, threads, ours: timeOfOurs(stage), peer: best.ms,
            ratio: timeOfOurs(stage) / best.ms, peerWay: best.way, peerThreads: best.threads });
    }
    table.push({ stage: 'whole', threads, ours: timeOfOurs('whole'), peer: sum,
        ratio: timeOfOurs('whole') / sum, peerWay: 'sum of the three' });
}

const [first] = readAll('ours-1.json');
const [networks] = readAll('networks-1.json');
const [paths] = readAll('path-1.json');
const machine = {
    processor: os.cpus()[0].model,
    cores: os.cpus().length,
    loadAverage: os.loadavg()[0],
    compiler: first.compiler,
    blas: first.blas,
    onnxruntime: networks.runtime,
    node: networks.node,
    opencv: paths.opencv,
    numpy: paths.numpy,
    numpyBlas: paths.blas,
};
fs.writeFileSync(target,
    `${JSON.stringify({ machine, rounds: folders.length, table, ours, peer, comparison }, null, 2)}\n`);

const ms = (value) => value.toFixed(2).padStart(8);
console.log('\nstage        threads   ours ms   peer ms     ratio   the peer');
for (const row of table) {
    const way = row.peerThreads === undefined ? row.peerWay
        : `${row.peerWay}, ${row.peerThreads} thread${row.peerThreads === 1 ? '' : 's'}`;
    console.log(`${row.stage.padEnd(12)} ${String(row.threads).padStart(7)}  ${ms(row.ours)}  ` +
        `${ms(row.peer)}  ${ms(row.ratio)}   ${way}`);
}
console.log(`
ours      one process; stages timed one by one, whole is a complete extraction
peer      patches: OpenCV, given our transforms; networks: ONNX Runtime; projection: NumPy. Each
          stage in a process of its own, its fastest way with at most that many threads; whole is
          the sum, as if passing data on cost nothing
ratio     ours / peer: below 1, ours is faster`);

console.log('\nEvery way of the peer, ms (fastest to slowest round):');
for (const { stage, threads, way, ms: time, fastestRound, slowestRound } of peer) {
    console.log(`  ${stage.padEnd(12)} ${way.padEnd(16)} ${threads} thread(s)  ${ms(time)}   ` +
        `(${fastestRound.toFixed(2)} to ${slowestRound.toFixed(2)})`);
}

const percent = (part) => `${(100 * part).toFixed(2)} %`;
const largestOf = (group) => {
    const entries = Object.values(group);
    return `${worst(entries, 'absolute').toExponential(2)}, of the largest value ` +
        `${worst(entries, 'relative').toExponential(2)}, bound ${entries[0].bound}`;
};
console.log('\nOn the same numbers, largest difference:');
console.log(`  networks     ${largestOf(comparison.networks)}`);
console.log(`  projection   ${largestOf(comparison.projection)}`);
for (const [way, { same, withinOne, largest }] of Object.entries(comparison.patches)) {
    if (way.endsWith(', 1')) {
        console.log(`  patches      ${way.slice(0, -3)}: equal grey levels ${percent(same)}, within ` +
            `one ${percent(withinOne)}, largest difference ${largest.toFixed(0)}`);
    }
}

console.log('');
for (const [key, value] of Object.entries(machine)) {
    console.log(`${key}: ${value}`);
}
