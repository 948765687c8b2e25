// Who is signed in.

import { ask } from './api.js';
import { show } from './dialog.js';
import { h } from './dom.js';
import { text } from './texts.js';

export function signIn(after) {
    show(
        text('signin'),
        [
            h('p', { class: 'muted' }, text('signin.hint')),
            h(
                'label',
                {},
                text('user'),
                h('input', { name: 'user', autocomplete: 'username', required: true, maxlength: 256 }),
            ),
            h(
                'label',
                {},
                text('password'),
                h('input', {
                    name: 'password',
                    type: 'password',
                    autocomplete: 'current-password',
                    required: true,
                    maxlength: 1024,
                }),
            ),
        ],
        text('signin'),
        async (form) => {
            try {
                await ask('session', 'POST', {
                    user: form.elements.user.value,
                    password: form.elements.password.value,
                });
            } catch (problem) {
                form.elements.password.value = '';
                throw problem.status === 429 ? new Error(text('signin.wait', problem.retryAfter ?? '…')) : problem;
            }
            await after();
        },
    );
}

export async function signOut(after) {
    await ask('session', 'DELETE');
    await after();
}
