// The one dialog of the page, and the lines that tell how something went.

import { h, patch, shown } from './dom.js';
import { text } from './texts.js';

const NOTE_MS = 8000;

const dialog = document.getElementById('dialog');

// Shows a form; submit(form) may throw what is then told in it, and closes it otherwise.
export function show(title, content, action, submit) {
    const failure = h('p', { class: 'failure', role: 'alert' });
    const form = h(
        'form',
        { method: 'dialog' },
        h('h2', { id: 'dialog-title' }, title),
        content,
        failure,
        h(
            'div',
            { class: 'buttons' },
            h('button', { type: 'button', class: 'quiet', 'data-action': 'close' }, text('cancel')),
            h('button', { type: 'submit' }, action),
        ),
    );
    form.addEventListener('submit', async (event) => {
        event.preventDefault();
        const button = form.querySelector('button[type=submit]');
        button.disabled = true;
        failure.textContent = '';
        try {
            await submit(form);
            dialog.close();
        } catch (error) {
            failure.textContent = shown(error.message);
        }
        button.disabled = false;
    });
    dialog.replaceChildren(form);
    if (!dialog.open) {
        dialog.showModal();
    }
    const first = form.querySelector('input, select');
    first?.focus();
    first?.select?.();
}

export function close() {
    dialog.close();
    dialog.replaceChildren();
}

export function note(line, failed = false) {
    const told = h('p', { class: failed ? 'failed' : null }, shown(line));
    const notes = document.getElementById('notes');
    notes.append(told);
    setTimeout(() => told.remove(), NOTE_MS);
}

export function banner(line) {
    const place = document.getElementById('banner');
    place.hidden = line === null;
    patch(place, line === null ? [] : [document.createTextNode(shown(line))]);
}
