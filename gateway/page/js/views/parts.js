// What several views share.

import { h, said, table } from '../dom.js';
import { MISSING, number } from '../format.js';
import { text } from '../texts.js';

export function orMissing(value) {
    return value === null || value === undefined || value === '' ? MISSING : said(value);
}

export function chip(severity, words) {
    return h('span', { class: `chip ${severity}` }, said(words));
}

export function facts(...rows) {
    return h(
        'dl',
        { class: 'facts' },
        rows.filter(Boolean).map(([title, value]) => [h('dt', {}, title), h('dd', {}, value)]),
    );
}

export function card(title, ...content) {
    return h('section', { class: 'card' }, h('h2', {}, title), content);
}

// A table, or a line that there is nothing to put into it.
export function tableOr(caption, columns, rows) {
    return rows.length > 0
        ? table(caption, columns, rows)
        : [h('h2', {}, caption), h('p', { class: 'empty' }, text('nothing'))];
}

// A share of a hundred as a bar with its figure; low tells what is little of a good thing.
export function share(title, percent, { low = null, high = null } = {}) {
    if (percent === null || percent === undefined) {
        return MISSING;
    }
    return [
        h('meter', {
            min: 0,
            max: 100,
            low,
            high,
            optimum: low !== null ? 100 : high !== null ? 0 : null,
            value: percent,
            'aria-label': title,
        }),
        ` ${number(percent)}\u00a0%`,
    ];
}

export function waiting() {
    return h('p', { class: 'empty waiting' }, text('loading'));
}
