// Small plots of the last minutes. The page samples what the machine has told last, so that a value that stays is a line.

import uPlot from '../uplot/uPlot.esm.js';
import { h } from './dom.js';
import { text } from './texts.js';

const STEP_MS = 2000;
const SAMPLES = 150;
const SPAN_S = (STEP_MS * SAMPLES) / 1000;

const times = [];
const series = new Map(); // key -> {values, now}
const mounted = new Map(); // element -> {plot, key, colours}

// Tells the newest value of a series; null is a gap.
export function feed(key, value) {
    const known = series.get(key);
    if (known === undefined) {
        series.set(key, { values: times.map(() => null), now: value });
    } else {
        known.now = value;
    }
}

// The machine is silent: gaps until it tells something again.
export function gap() {
    for (const one of series.values()) {
        one.now = null;
    }
}

export function plot(key, title, format) {
    const values = (series.get(key)?.values ?? []).filter((value) => value !== null);
    const now = series.get(key)?.now ?? null;
    const label =
        values.length === 0 || now === null
            ? text('plot.none', title)
            : text('plot', title, format(now), format(Math.min(...values)), format(Math.max(...values)));
    return h('div', { class: 'plot', role: 'img', 'aria-label': label, 'data-plot': key });
}

function colour(name) {
    return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

function data(key) {
    const { values } = series.get(key) ?? { values: [] };
    return [times, times.map((_, position) => values[position] ?? null)];
}

function sizeOf(element) {
    return { width: Math.max(element.clientWidth, 40), height: Math.max(element.clientHeight, 20) };
}

function mount(element) {
    const key = element.dataset.plot;
    const plotted = new uPlot(
        {
            ...sizeOf(element),
            legend: { show: false },
            cursor: { show: false },
            axes: [{ show: false }, { show: false }],
            padding: [4, 0, 4, 0],
            scales: {
                x: { range: () => [Date.now() / 1000 - SPAN_S, Date.now() / 1000] },
                y: {
                    // A value that hardly moves is a calm line, not noise over the whole height.
                    range: (_, low, high) => {
                        if (low === null) {
                            return [0, 1];
                        }
                        const room = Math.max((high - low) * 0.15, Math.abs(high) * 0.02, 0.01);
                        return [low - room, high + room];
                    },
                },
            },
            series: [{}, { stroke: colour('--plot'), fill: colour('--plot-fill'), width: 2, points: { show: false } }],
        },
        data(key),
        element,
    );
    mounted.set(element, { plot: plotted, key });
}

// Draws what stands in the page and forgets what has left it.
export function draw() {
    for (const [element, { plot: plotted, key }] of mounted) {
        if (!element.isConnected || element.dataset.plot !== key) {
            plotted.destroy();
            mounted.delete(element);
        }
    }
    for (const element of document.querySelectorAll('[data-plot]')) {
        const known = mounted.get(element);
        if (known === undefined) {
            mount(element);
            continue;
        }
        if (known.plot.width !== sizeOf(element).width) {
            known.plot.setSize(sizeOf(element));
        }
        known.plot.setData(data(known.key));
    }
}

function remount() {
    for (const { plot: plotted } of mounted.values()) {
        plotted.destroy();
    }
    mounted.clear();
    draw();
}

export function begin(sampled) {
    setInterval(() => {
        times.push(Date.now() / 1000);
        for (const one of series.values()) {
            one.values.push(one.now);
        }
        if (times.length > SAMPLES) {
            times.shift();
            for (const one of series.values()) {
                one.values.shift();
            }
        }
        sampled();
    }, STEP_MS);
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', remount);
    addEventListener('resize', draw);
}
