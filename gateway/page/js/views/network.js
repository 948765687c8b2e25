// The adapters; each setting can be changed by itself.

import { h, said } from '../dom.js';
import { MISSING } from '../format.js';
import { changeButton } from '../edit.js';
import { text } from '../texts.js';
import { facts, orMissing } from './parts.js';

// Members of an adapter and the entries of its object that hold them.
const SETTINGS = [
    ['address', 2],
    ['mask', 3],
    ['dhcp', 4],
    ['gateway', 5],
    ['dns', 6],
];

// The service objects of a module lie at the same place of a range of their own.
function renewOf(index) {
    return `0xB${index.slice(3, 5)}0`;
}

function value(member) {
    return typeof member === 'boolean' ? text(member ? 'yes' : 'no') : orMissing(member);
}

function adapter(state, one) {
    return h(
        'section',
        { class: 'card', 'data-key': one.index },
        h('h2', {}, said(one.name)),
        facts(
            ...SETTINGS.map(([member, sub]) => [
                text(member),
                [value(one[member]), changeButton(state, one.index, sub, `${one.name} ${text(member)}`)],
            ]),
            [text('dns.active'), orMissing(one.activeDns)],
            [text('mac'), one.mac === null ? MISSING : h('span', { class: 'code' }, said(one.mac))],
        ),
        state.session.mayChange && one.dhcp === true
            ? h(
                  'p',
                  {},
                  h(
                      'button',
                      {
                          type: 'button',
                          class: 'quiet',
                          'data-action': 'service',
                          'data-index': renewOf(one.index),
                          'data-title': `${one.name}: ${text('renew')}`,
                      },
                      text('renew'),
                  ),
              )
            : null,
    );
}

export const network = {
    id: 'network',
    needs: ['network'],
    render(state) {
        return [
            state.session.mayChange ? h('p', { class: 'muted' }, text('network.hint')) : null,
            h(
                'div',
                { class: 'cards wide' },
                state.views.get('network').adapters.map((one) => adapter(state, one)),
            ),
        ];
    },
};
