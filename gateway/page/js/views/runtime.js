// The automation runtime, its router's figures and its routes.

import { changeButton } from '../edit.js';
import { h, said } from '../dom.js';
import { duration, number, withUnit } from '../format.js';
import { text } from '../texts.js';
import { card, chip, facts, orMissing, tableOr } from './parts.js';

const NET_ID = 4;

function state({ running, state: number_ }) {
    return running === null
        ? orMissing(null)
        : chip(running ? 'good' : 'warning', `${text(running ? 'runtime.running' : 'runtime.stopped')} (${number_})`);
}

export const runtime = {
    id: 'runtime',
    needs: ['runtime', 'routes'],
    render(all) {
        const { runtime: one } = all.views.get('runtime');
        if (one === null) {
            return h('p', { class: 'empty' }, text('nothing'));
        }
        return [
            h(
                'div',
                { class: 'cards' },
                card(
                    text('runtime'),
                    facts(
                        [text('state'), state(one)],
                        [text('version'), orMissing(one.version)],
                        [text('revision'), number(one.revision)],
                        [text('netid'), [orMissing(one.netId), changeButton(all, one.index, NET_ID, text('netid'))]],
                        [text('systemid'), orMissing(one.systemId)],
                        [text('changed'), duration(one.secondsSinceChange)],
                    ),
                ),
            ),
            h(
                'section',
                {},
                tableOr(
                    text('routes'),
                    [
                        { title: text('route') },
                        { title: text('address') },
                        { title: text('netid') },
                        { title: text('transport'), right: true },
                        { title: text('timeout'), right: true },
                        { title: text('flags'), right: true },
                    ],
                    all.views
                        .get('routes')
                        .routes.map(({ name, address, netId, transport, timeoutMilliseconds, flags }) => [
                            orMissing(name),
                            orMissing(address),
                            orMissing(netId),
                            number(transport),
                            withUnit(timeoutMilliseconds, 'ms'),
                            number(flags),
                        ]),
                ),
            ),
            h(
                'section',
                {},
                tableOr(
                    text('figures'),
                    [{ title: text('figure') }, { title: text('value'), right: true }],
                    one.figures.map(({ name, value }) => [said(name), number(value)]),
                ),
            ),
        ];
    },
};
