// Elements without markup: whatever the machine says becomes text, never HTML.

// Controls, lone line breaks and what turns the direction of writing are shown, not obeyed.
const HIDDEN = /[\u0000-\u001f\u007f-\u009f\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff]/gu;

function visible(character) {
    const code = character.codePointAt(0);
    if (code < 0x20) {
        return String.fromCodePoint(0x2400 + code);
    }
    return `\u{27e8}U+${code.toString(16).toUpperCase().padStart(4, '0')}\u{27e9}`;
}

export function shown(text) {
    return String(text).replace(HIDDEN, visible);
}

// An element with attributes and children: nodes, texts, arrays of them; null and false are left out. An attribute that is
// null or false is left out, too.
export function h(tag, attributes = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (value !== null && value !== undefined && value !== false) {
            element.setAttribute(name, value === true ? '' : String(value));
        }
    }
    element.append(
        ...children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== false),
    );
    return element;
}

// A text of the machine.
export function said(text) {
    return h('bdi', {}, shown(text));
}

function alike(have, want) {
    return have.nodeName === want.nodeName && have.dataset?.key === want.dataset?.key;
}

function update(have, want) {
    if (have.nodeType !== Node.ELEMENT_NODE) {
        if (have.data !== want.data) {
            have.data = want.data;
        }
        return;
    }
    for (const { name } of [...have.attributes]) {
        if (!want.hasAttribute(name)) {
            have.removeAttribute(name);
        }
    }
    for (const { name, value } of want.attributes) {
        if (have.getAttribute(name) !== value) {
            have.setAttribute(name, value);
        }
    }
    if (have.dataset.plot === undefined) {
        patch(have, want.childNodes);
    }
}

// Makes the children of an element those that are wanted, changing only what differs: focus, selection and plots stay.
export function patch(parent, wanted) {
    const nodes = [...wanted];
    nodes.forEach((want, position) => {
        const have = parent.childNodes[position];
        if (have === undefined) {
            parent.append(want);
        } else if (alike(have, want)) {
            update(have, want);
        } else {
            have.replaceWith(want);
        }
    });
    while (parent.childNodes.length > nodes.length) {
        parent.lastChild.remove();
    }
}

// A table: columns are {title, right}, rows arrays of cells. On a narrow screen each row becomes a list, which
// takes the roles away that a table has by itself: they are told.
export function table(caption, columns, rows) {
    const cell = (content, position) => {
        const { title, right } = columns[position];
        const attributes = { class: right ? 'right' : null, 'data-label': title };
        return position === 0
            ? h('th', { ...attributes, role: 'rowheader', scope: 'row' }, h('span', {}, content))
            : h('td', { ...attributes, role: 'cell' }, h('span', {}, content));
    };
    return h(
        'table',
        { class: 'rows', role: 'table' },
        h('caption', {}, caption),
        h(
            'thead',
            { role: 'rowgroup' },
            h(
                'tr',
                { role: 'row' },
                columns.map(({ title, right }) =>
                    h('th', { role: 'columnheader', scope: 'col', class: right ? 'right' : null }, title),
                ),
            ),
        ),
        h(
            'tbody',
            { role: 'rowgroup' },
            rows.map((row) => h('tr', { role: 'row' }, row.map(cell))),
        ),
    );
}
