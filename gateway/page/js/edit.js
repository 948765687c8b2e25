// Changing an entry: what is there now and what will be stand side by side before anything is written.

import { ask, pathOf } from './api.js';
import { note, show } from './dialog.js';
import { h, said } from './dom.js';
import { line } from './format.js';
import { text } from './texts.js';

// What an input holds, as a value of the entry's type. Numbers that a double cannot hold stay texts.
export function parsed(type, typed) {
    if (type === 'BOOLEAN') {
        return typed === 'true';
    }
    if (/^(UNSIGNED|INTEGER|BIT)/.test(type)) {
        const bare = typed.trim();
        if (!/^(-?\d+|0[xX][0-9a-fA-F]+)$/.test(bare)) {
            throw new Error(text('not.number', type));
        }
        const whole = BigInt(bare);
        return Number.isSafeInteger(Number(whole)) ? Number(whole) : whole.toString();
    }
    if (/^REAL/.test(type)) {
        if (typed.trim() === '' || !Number.isFinite(Number(typed))) {
            throw new Error(text('not.number', type));
        }
        return Number(typed);
    }
    if (type === 'VISIBLE_STRING' || type === 'UNICODE_STRING') {
        return typed;
    }
    const digits = typed.replaceAll(/\s/g, '').toLowerCase();
    if (!/^([0-9a-f]{2})*$/.test(digits)) {
        throw new Error(text('not.hex'));
    }
    return { hex: digits };
}

// All names of the zones, in the order of their numbers.
async function zones() {
    const { zoneLists } = await ask('views/time');
    const lists = await Promise.all(zoneLists.map((index) => ask(pathOf(index))));
    return lists.flatMap(({ entries }) => entries.filter(({ sub }) => sub > 0).map(({ value }) => line(value)));
}

async function choices(kind, type) {
    if (kind === 'zone') {
        return (await zones()).map((name, position) => [String(position), name]);
    }
    if (kind === 'switch') {
        return [
            ['0', `0 (${text('off')})`],
            ['1', `1 (${text('on')})`],
        ];
    }
    if (type === 'BOOLEAN') {
        return [
            ['false', text('no')],
            ['true', text('yes')],
        ];
    }
    return null;
}

function field(options, value) {
    if (options === null) {
        return h('input', { name: 'new', value: line(value ?? ''), autocomplete: 'off', spellcheck: 'false' });
    }
    return h(
        'select',
        { name: 'new' },
        options.map(([given, title]) =>
            h('option', { value: given, selected: given === String(value) }, said(title).textContent),
        ),
    );
}

function words(options, value) {
    return options?.find(([given]) => given === String(value))?.[1] ?? line(value);
}

// Asks for the entry's new value and writes it; title tells people what it is.
export async function edit(index, sub, title, kind) {
    const entry = await ask(pathOf(index, sub));
    const options = await choices(kind, entry.type);
    const open = (old, first, warning) => {
        const isReadable = old !== undefined;
        show(
            text('change.of', title),
            [
                warning === null ? null : h('p', { class: 'failure', role: 'alert' }, warning),
                h(
                    'div',
                    { class: 'beside' },
                    h(
                        'div',
                        {},
                        h('span', { class: 'what' }, text('now')),
                        h('div', { class: 'old' }, isReadable ? said(words(options, old)) : text('unreadable')),
                    ),
                    h('span', { class: 'arrow', 'aria-hidden': 'true' }, '→'),
                    h('label', {}, h('span', { class: 'what' }, text('new')), field(options, first)),
                ),
                h('p', { class: 'muted' }, `${entry.index}:${entry.sub} ${entry.type}`),
            ],
            text('write'),
            async (form) => {
                const wanted = parsed(entry.type, form.elements.new.value);
                try {
                    const after = await ask(
                        pathOf(index, sub),
                        'PUT',
                        isReadable ? { old, new: wanted } : { new: wanted },
                    );
                    const isThere = after.value !== undefined && line(after.value) === line(wanted);
                    note(isThere ? text('written', title, words(options, after.value)) : text('accepted', title));
                } catch (problem) {
                    if (problem.status !== 409) {
                        throw problem;
                    }
                    // What was typed stays; what it replaces is shown anew.
                    setTimeout(() => open(problem.current, wanted, text('meanwhile')));
                }
            },
        );
    };
    open(entry.value, entry.value, null);
}

// The button that opens it, for those who may.
export function changeButton(state, index, sub, title, kind = '') {
    if (!state.session.mayChange) {
        return null;
    }
    return h(
        'button',
        {
            type: 'button',
            class: 'quiet small',
            'data-action': 'edit',
            'data-index': index,
            'data-sub': sub,
            'data-title': title,
            'data-kind': kind,
            'aria-label': text('change.of', title),
        },
        text('change'),
    );
}
