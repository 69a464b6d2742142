// Runs the 25 networks with ONNX Runtime on dumped patches, compares with the dumped outputs, and
// times it.
//
//   node run_networks.mjs --modules FOLDER --onnx FOLDER --dump FOLDER [--threads N] [--runs N]
//
// FOLDER of --modules is where npm installed onnxruntime-node; --onnx is what export_onnx.py wrote,
// --dump what dump_stages wrote. Writes networks-N.json to the dump folder. Exit status 1 if an
// output differs by more than the bound.
//
// A JavaScript call of the runtime returns when the run is over. Several threads can share the work
// in four ways, each of which is measured:
//   sessions    one session after another, each with N threads inside its operators
//   workers     N JavaScript threads, each with its share of the sessions and no other threads
//   one graph   all networks in one session with N threads inside its operators
//   parallel    all networks in one session that runs independent operators on N threads
// With one thread there are only sessions and one graph.
import fs from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { parseArgs } from 'node:util';
import { Worker, isMainThread, workerData } from 'node:worker_threads';

const kNetworks = 25;
const kOutputs = 320; // two rows of 160

// Relative to the largest output of a network. Each side adds up to 2224 products in its own order,
// in five stages; a wrong weight or layer shows as a difference of about 1.
const kBound = 1e-5;

const { values: options } = parseArgs({
    args: isMainThread ? process.argv.slice(2) : workerData.args,
    options: {
        modules: { type: 'string' },
        onnx: { type: 'string' },
        dump: { type: 'string' },
        threads: { type: 'string', default: '1' },
        runs: { type: 'string', default: '200' },
    },
});
if (!options.modules || !options.onnx || !options.dump) {
    console.error('usage: run_networks.mjs --modules FOLDER --onnx FOLDER --dump FOLDER ' +
        '[--threads N] [--runs N]');
    process.exit(2);
}
const threads = Number(options.threads);
const runs = Number(options.runs);
const require = createRequire(path.resolve(options.modules, 'package.json'));
const ort = require('onnxruntime-node');

const numbered = (stem, number) => `${stem}-${String(number).padStart(2, '0')}`;

function readFloats(name) {
    const bytes = fs.readFileSync(path.join(options.dump, `${name}.f32`));
    return new Float32Array(bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length));
}

const openGraph = (name, settings) =>
    ort.InferenceSession.create(path.join(options.onnx, `${name}.onnx`), {
        executionProviders: ['cpu'],
        graphOptimizationLevel: 'all',
        ...settings,
    });

// The inputs of a session, which the graph names after the patches' numbers.
function feedsOf(session) {
    const feeds = {};
    for (const { name, shape } of session.inputMetadata) {
        const values = readFloats(numbered('patch', Number(name.slice('patch'.length))));
        feeds[name] = new ort.Tensor('float32', values, shape);
    }
    return feeds;
}

// A set of sessions that run one after another. `keep` copies their outputs.
async function openSessions(names, settings) {
    const sessions = [];
    for (const name of names) {
        const session = await openGraph(name, settings);
        sessions.push({ session, feeds: feedsOf(session), results: null });
    }
    return {
        async run() {
            for (const entry of sessions) {
                entry.results = await entry.session.run(entry.feeds);
            }
        },
        keep(outputs) {
            for (const { results } of sessions) {
                for (const [name, tensor] of Object.entries(results)) {
                    const number = Number(name.slice('output'.length));
                    outputs.set(tensor.data, (number - 1) * kOutputs);
                }
            }
        },
        async close() {
            for (const { session } of sessions) {
                await session.release();
            }
        },
    };
}

const allNames = Array.from({ length: kNetworks }, (_, k) => numbered('network', k + 1));

// Every share holds large and small, colour and grey networks.
const shareOf = (worker) => allNames.filter((_, k) => k % threads === worker);
const singleThreaded = { intraOpNumThreads: 1, interOpNumThreads: 1, executionMode: 'sequential' };

// Signals between the main thread and its workers: the number of the current run, and how many
// workers have finished theirs. A negative number ends the workers.
const kRun = 0;
const kFinished = 1;
const kPatience = 60000; // milliseconds

async function serveAsWorker() {
    const { worker, signals, outputs } = workerData;
    const sessions = await openSessions(shareOf(worker), singleThreaded);
    for (let last = 0;;) {
        Atomics.add(signals, kFinished, 1);
        Atomics.notify(signals, kFinished);
        Atomics.wait(signals, kRun, last);
        last = Atomics.load(signals, kRun);
        if (last < 0) {
            break;
        }
        await sessions.run();
        sessions.keep(outputs);
    }
    await sessions.close();
}

async function openWorkers() {
    const signals = new Int32Array(new SharedArrayBuffer(8));
    const shared = new Float32Array(new SharedArrayBuffer(4 * kNetworks * kOutputs));
    const workers = [];
    for (let worker = 1; worker < threads; ++worker) {
        const data = { worker, signals, outputs: shared, args: process.argv.slice(2) };
        workers.push(new Worker(fileURLToPath(import.meta.url), { workerData: data }));
    }
    // Without blocking: if a worker cannot start, its error must end the process.
    while (Atomics.load(signals, kFinished) < workers.length) {
        await new Promise((resolve) => setTimeout(resolve, 10));
    }
    const own = await openSessions(shareOf(0), singleThreaded);
    return {
        async run() {
            Atomics.store(signals, kFinished, 0);
            Atomics.add(signals, kRun, 1);
            Atomics.notify(signals, kRun);
            await own.run();
            for (;;) {
                const finished = Atomics.load(signals, kFinished);
                if (finished === workers.length) {
                    break;
                }
                if (Atomics.wait(signals, kFinished, finished, kPatience) === 'timed-out') {
                    throw new Error('a worker does not respond');
                }
            }
        },
        keep(outputs) {
            outputs.set(shared);
            own.keep(outputs);
        },
        async close() {
            Atomics.store(signals, kRun, -1);
            Atomics.notify(signals, kRun);
            await Promise.all(workers.map((worker) =>
                new Promise((resolve) => worker.once('exit', resolve))));
            await own.close();
        },
    };
}

async function time(work) {
    for (let i = 0; i < runs / 10 + 1; ++i) {
        await work();
    }
    const times = [];
    for (let i = 0; i < runs; ++i) {
        const start = performance.now();
        await work();
        times.push(performance.now() - start);
    }
    times.sort((a, b) => a - b);
    const at = (part) => times[Math.floor(times.length * part)];
    return { median: at(0.5), low: at(0.1), high: at(0.9) };
}

// Largest difference, absolute and relative to the largest output of the same network.
function compare(outputs, expected) {
    let absolute = 0;
    let relative = 0;
    for (let k = 0; k < kNetworks; ++k) {
        let difference = 0;
        let largest = 0;
        for (let i = k * kOutputs; i < (k + 1) * kOutputs; ++i) {
            // Not Math.max alone: a NaN must not pass.
            const distance = Math.abs(outputs[i] - expected[i]);
            difference = Number.isNaN(distance) ? Infinity : Math.max(difference, distance);
            largest = Math.max(largest, Math.abs(expected[i]));
        }
        absolute = Math.max(absolute, difference);
        relative = Math.max(relative, difference / largest);
    }
    return { absolute, relative };
}

function expectedOutputs() {
    const expected = new Float32Array(kNetworks * kOutputs);
    for (let k = 0; k < kNetworks; ++k) {
        const values = readFloats(numbered('output', k + 1));
        if (values.length !== kOutputs) {
            throw new Error(`${numbered('output', k + 1)}.f32: ${values.length} values`);
        }
        expected.set(values, k * kOutputs);
    }
    return expected;
}

const threadsInside = { ...singleThreaded, intraOpNumThreads: threads };
const ways = {
    // Spinning threads of 25 sessions would take the cores from the session that runs.
    'sessions': () => openSessions(allNames, {
        ...threadsInside,
        extra: { session: { intra_op: { allow_spinning: '0' } } },
    }),
    'one graph': () => openSessions(['networks'], threadsInside),
};
if (threads > 1) {
    ways['workers'] = openWorkers;
    ways['parallel'] = () => openSessions(['networks'], {
        ...singleThreaded,
        interOpNumThreads: threads,
        executionMode: 'parallel',
    });
}

async function main() {
    const expected = expectedOutputs();
    const report = { threads, runs, runtime: ort.env.versions.node, node: process.version,
        bound: kBound, ways: {} };
    let withinBound = true;
    console.log(`onnxruntime-node ${report.runtime}, node ${report.node}: ${threads} thread(s), ` +
        `medians of ${runs} runs in ms`);
    for (const [name, open] of Object.entries(ways)) {
        const networks = await open();
        await networks.run();
        const outputs = new Float32Array(kNetworks * kOutputs).fill(NaN);
        networks.keep(outputs);
        const difference = compare(outputs, expected);
        const times = await time(() => networks.run());
        await networks.close();
        report.ways[name] = { ...times, ...difference };
        console.log(`${name.padEnd(12)} ${times.median.toFixed(3).padStart(9)}   ` +
            `(10 %: ${times.low.toFixed(3)}, 90 %: ${times.high.toFixed(3)})   largest difference ` +
            `${difference.absolute.toExponential(2)}, of the network's largest output ` +
            `${difference.relative.toExponential(2)} (bound ${kBound})`);
        withinBound &&= difference.relative <= kBound;
    }
    fs.writeFileSync(path.join(options.dump, `networks-${threads}.json`),
        `${JSON.stringify(report, null, 2)}\n`);
    if (!withinBound) {
        console.error('run_networks.mjs: an output differs by more than the bound');
        process.exitCode = 1;
    }
}

await (isMainThread ? main() : serveAsWorker());
