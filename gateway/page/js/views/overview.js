// The machine in one look: what is wrong in plain words, then the figures that matter.

import { h, said } from '../dom.js';
import { bytes, duration, withUnit } from '../format.js';
import { plot } from '../plot.js';
import { text } from '../texts.js';
import { card, chip, facts, orMissing, share } from './parts.js';

function findings({ health }) {
    return h(
        'section',
        {},
        h('h2', {}, text('findings')),
        health.findings.length === 0
            ? h('p', {}, chip('good', text('findings.none')))
            : h(
                  'ul',
                  { class: 'findings' },
                  health.findings.map(({ severity, subject, text: words, view }) =>
                      h(
                          'li',
                          { class: severity },
                          h(
                              'span',
                              { class: 'words' },
                              words.includes(subject) ? null : [h('strong', {}, said(subject)), ' '],
                              said(words),
                              ' ',
                              link(view),
                          ),
                      ),
                  ),
              ),
    );
}

// The views of the answers and those of the page are not quite the same.
const PLACES = {
    drives: 'drives',
    discs: 'drives',
    sensors: 'sensors',
    system: 'sensors',
    ups: 'sensors',
    network: 'network',
    runtime: 'runtime',
    routes: 'runtime',
    time: 'time',
    gpio: 'outputs',
    users: 'users',
    packages: 'software',
};

function link(view) {
    const place = PLACES[view];
    return place === undefined ? null : h('a', { href: `#/${place}` }, text(`view.${place}`));
}

function processor({ name, loadPercent, frequencyMegahertz, celsius }) {
    const key = `load ${name}`;
    return h(
        'section',
        { class: 'card' },
        h('h2', {}, said(name)),
        h('div', { class: 'figure' }, withUnit(loadPercent, '%')),
        h('div', { class: 'muted' }, [withUnit(frequencyMegahertz, 'MHz'), ', ', withUnit(celsius, '°C')]),
        plot(key, `${name} ${text('load')}`, (value) => withUnit(value, '%')),
    );
}

function memory({ totalBytes, availableBytes }) {
    if (totalBytes === null || availableBytes === null) {
        return null;
    }
    return card(
        text('memory'),
        h('div', { class: 'figure' }, bytes(totalBytes - availableBytes)),
        h(
            'div',
            { class: 'muted' },
            text(
                'of',
                share(text('memory'), (100 * (totalBytes - availableBytes)) / totalBytes)[1].trim(),
                bytes(totalBytes),
            ),
        ),
        plot('memory', text('memory'), bytes),
    );
}

function hottest({ temperatures }) {
    const known = temperatures.filter(({ celsius }) => celsius !== null);
    if (known.length === 0) {
        return null;
    }
    const { name, celsius } = known.reduce((worst, one) => (one.celsius > worst.celsius ? one : worst));
    return card(
        text('temperature'),
        h('div', { class: 'figure' }, withUnit(celsius, '°C')),
        h('div', { class: 'muted' }, said(name)),
        plot(`temperature ${name}`, name, (value) => withUnit(value, '°C')),
    );
}

function supplies({ supplies }) {
    return supplies.map(({ name, power, chargePercent, runtimeSeconds }) =>
        card(
            text('ups'),
            h('div', { class: 'figure' }, power === null ? orMissing(null) : text(`power.${power}`)),
            facts(
                [text('name'), said(name)],
                [text('charge'), share(text('charge'), chargePercent, { low: 30 })],
                [text('lasts'), duration(runtimeSeconds)],
            ),
        ),
    );
}

function runtimeCard({ runtime }) {
    if (runtime === null) {
        return null;
    }
    return card(
        text('runtime'),
        h(
            'div',
            { class: 'figure' },
            runtime.running === null ? orMissing(null) : text(runtime.running ? 'runtime.running' : 'runtime.stopped'),
        ),
        facts([text('version'), orMissing(runtime.version)], [text('netid'), orMissing(runtime.netId)]),
    );
}

function discs({ discs }) {
    const known = discs.filter(({ sizeBytes, freeBytes }) => sizeBytes > 0 && freeBytes !== null);
    return known.length === 0
        ? null
        : card(
              text('discs'),
              facts(
                  ...known.map(({ name, path, sizeBytes, freeBytes }) => [
                      said(name ?? path),
                      share(text('used'), 100 - (100 * freeBytes) / sizeBytes, { high: 90 }),
                  ]),
              ),
          );
}

export const overview = {
    id: 'overview',
    needs: ['machine', 'system', 'sensors', 'discs', 'ups', 'runtime'],
    render({ views }) {
        const machine = views.get('machine');
        const with_ = (view, make) => (views.has(view) ? make(views.get(view)) : null);
        return [
            findings(machine),
            h(
                'div',
                { class: 'cards' },
                with_('system', ({ processors, memory: figures }) => [processors.map(processor), memory(figures)]),
                with_('sensors', hottest),
                with_('ups', supplies),
                with_('runtime', runtimeCard),
                with_('discs', discs),
                card(
                    text('machine'),
                    facts(
                        [text('serial'), orMissing(machine.serialNumber)],
                        [text('hardware'), orMissing(machine.hardwareVersion)],
                        [text('software'), orMissing(machine.softwareVersion)],
                        [text('system'), orMissing(machine.operatingSystem)],
                        [text('uptime'), duration(machine.uptimeSeconds)],
                    ),
                ),
            ),
        ];
    },
};
