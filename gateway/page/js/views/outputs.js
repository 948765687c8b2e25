// GPIO pins and switched supplies.

import { changeButton } from '../edit.js';
import { h, said } from '../dom.js';
import { MISSING } from '../format.js';
import { text } from '../texts.js';
import { tableOr } from './parts.js';

export const outputs = {
    id: 'outputs',
    needs: ['gpio'],
    render(state) {
        const { pins, supplies } = state.views.get('gpio');
        return [
            h(
                'section',
                {},
                tableOr(
                    text('pins'),
                    [{ title: text('pin') }, { title: text('direction') }, { title: text('value') }],
                    pins.map(({ index, sub, pin, direction, value }) => [
                        String(pin),
                        direction === null ? MISSING : text(`direction.${direction}`),
                        [
                            value === null ? MISSING : String(value),
                            direction === 'out'
                                ? changeButton(state, index, sub, `${text('pin')} ${pin}`, 'switch')
                                : null,
                        ],
                    ]),
                ),
            ),
            h(
                'section',
                {},
                tableOr(
                    text('supplies'),
                    [{ title: text('supply') }, { title: text('state') }],
                    supplies.map(({ index, sub, name, on }) => [
                        said(name),
                        [on === null ? MISSING : text(on ? 'on' : 'off'), changeButton(state, index, sub, name)],
                    ]),
                ),
            ),
        ];
    },
};
