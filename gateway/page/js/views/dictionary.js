// The whole dictionary: modules, objects and entries with types, access and codes. An object is read when it is opened,
// and stays live while it is open.

import { ask, pathOf } from '../api.js';
import { changeButton } from '../edit.js';
import { h, said, shown, table } from '../dom.js';
import { line } from '../format.js';
import { text } from '../texts.js';
import { waiting } from './parts.js';

const LIVE_OBJECTS = 32; // more than one stream tells
const READS_AT_ONCE = 4;

let heads = null; // of /objects
let modules = []; // of /modules
const objects = new Map(); // index -> what was read of it, or the failure
const open = new Set();
let wanted = '';
let searchesEntries = false;

async function read(index, redraw) {
    try {
        objects.set(index, await ask(pathOf(index)));
    } catch (failure) {
        objects.set(index, { failure });
    }
    redraw();
}

// Everything, some at a time: for those who look for an entry by its name or value.
async function readAll(redraw) {
    const left = heads.map(({ index }) => index).filter((index) => !objects.has(index));
    const work = async () => {
        for (let index = left.shift(); index !== undefined; index = left.shift()) {
            await read(index, () => {});
        }
    };
    await Promise.all(Array.from({ length: READS_AT_ONCE }, work));
    redraw();
}

function moduleName(index) {
    const found = modules.find((module) => module.index === index);
    return found === undefined
        ? text('device')
        : found.typeName === found.name
          ? found.name
          : `${found.typeName} ${found.name}`;
}

function matches(head) {
    const parts = [head.index, head.name, head.kind, moduleName(head.module)];
    if (searchesEntries) {
        for (const { name, value, error, type } of objects.get(head.index)?.entries ?? []) {
            parts.push(name, type, value === undefined ? '' : line(value), error?.name ?? '', error?.code ?? '');
        }
    }
    const all = parts.join('\n').toLowerCase();
    return wanted
        .toLowerCase()
        .split(/\s+/)
        .every((word) => all.includes(word.replace(/^0x/, '')) || all.includes(word));
}

function value(entry, live) {
    const { value: its, error } = live ?? entry;
    if (error !== undefined) {
        return h(
            'span',
            { class: 'code critical', title: error.text },
            said(error.name),
            h('span', { class: 'muted' }, ' ', said(error.text)),
        );
    }
    if (its === undefined || its === null) {
        return '';
    }
    const isAddress = typeof its === 'number' && its > 0xffff && entry.type === 'UNSIGNED32';
    return [
        said(typeof its === 'string' ? `"${its}"` : line(its)),
        isAddress ? h('span', { class: 'muted code' }, ` 0x${its.toString(16).toUpperCase()}`) : null,
    ];
}

function entries(state, head) {
    const object = objects.get(head.index);
    if (object === undefined) {
        return waiting();
    }
    if (object.failure !== undefined) {
        return h('p', { class: 'failure' }, text('failed', shown(object.failure.message)));
    }
    const live = state.entries.get(head.index);
    return table(
        h('span', { class: 'unseen' }, `${head.index} ${shown(object.name)}`),
        [{ title: text('entry') }, { title: text('type') }, { title: text('access') }, { title: text('value') }],
        object.entries.map((entry) => [
            [h('span', { class: 'code' }, `:${entry.sub} `), said(entry.name)],
            h('span', { class: 'code' }, entry.type),
            h('span', { class: 'code' }, entry.access),
            [
                value(entry, live?.get(entry.sub)),
                entry.access === 'rw'
                    ? changeButton(state, head.index, entry.sub, `${head.index}:${entry.sub} ${entry.name}`)
                    : null,
            ],
        ]),
    );
}

function branch(state, head) {
    const isOpen = open.has(head.index);
    return h(
        'details',
        { 'data-key': head.index, 'data-index': head.index, open: isOpen },
        h(
            'summary',
            {},
            h('span', { class: 'code' }, head.index),
            head.name === '' ? h('span', { class: 'muted' }, text('unnamed')) : said(head.name),
            h('span', { class: 'kind muted' }, head.kind),
        ),
        isOpen ? entries(state, head) : null,
    );
}

function groups(found) {
    const grouped = new Map();
    for (const head of found) {
        grouped.set(head.module, [...(grouped.get(head.module) ?? []), head]);
    }
    return [...grouped];
}

export const dictionary = {
    id: 'dictionary',
    needs: [],
    objects: () => [...open].slice(0, LIVE_OBJECTS),
    async begin(redraw) {
        const lists = await Promise.all([ask('objects'), ask('modules')]);
        heads = lists[0].objects;
        modules = lists[1].modules;
        objects.clear();
        for (const index of open) {
            read(index, redraw);
        }
        redraw();
    },
    toggle(index, isOpen, redraw) {
        if (open.has(index) === isOpen) {
            return;
        }
        if (isOpen) {
            open.add(index);
            read(index, redraw);
        } else {
            open.delete(index);
        }
        redraw();
    },
    search(words, redraw) {
        wanted = words.trim();
        redraw();
    },
    searchEntries(isWanted, redraw) {
        searchesEntries = isWanted;
        if (isWanted) {
            readAll(redraw);
        }
        redraw();
    },
    render(state) {
        if (heads === null) {
            return waiting();
        }
        const found = heads.filter(matches);
        return [
            h(
                'div',
                { class: 'search', role: 'search' },
                h('label', {}, text('search'), h('input', { type: 'search', 'data-search': 'words' })),
                h(
                    'label',
                    { class: 'check' },
                    h('input', { type: 'checkbox', 'data-search': 'entries' }),
                    ' ',
                    text('search.entries'),
                ),
            ),
            h('p', { class: 'muted', role: 'status' }, text('search.found', found.length, heads.length)),
            groups(found).map(([module, heads_]) =>
                h(
                    'section',
                    { class: 'tree', 'data-key': `module ${module}` },
                    h('h2', {}, said(moduleName(module))),
                    heads_.map((head) => branch(state, head)),
                ),
            ),
        ];
    },
};
