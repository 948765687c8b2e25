// Clock, zone and time server.

import { changeButton } from '../edit.js';
import { h } from '../dom.js';
import { MISSING, withUnit } from '../format.js';
import { text } from '../texts.js';
import { card, facts, orMissing } from './parts.js';

const NTP_SERVER = 1;
const NTP_REFRESH = 2;
const ZONE = 5;

export const time = {
    id: 'time',
    needs: ['time'],
    render(state) {
        const clock = state.views.get('time');
        if (clock.index === null) {
            return h('p', { class: 'empty' }, text('nothing'));
        }
        const change = (sub, title, kind) => changeButton(state, clock.index, sub, title, kind);
        const utc =
            clock.utcSeconds === null
                ? MISSING
                : new Date(clock.utcSeconds * 1000).toISOString().replace('T', ' ').slice(0, 19);
        return h(
            'div',
            { class: 'cards' },
            card(
                text('clock'),
                facts(
                    [text('clock.local'), orMissing(clock.local)],
                    [text('clock.utc'), utc],
                    [text('zone'), [orMissing(clock.zone), change(ZONE, text('zone'), 'zone')]],
                ),
            ),
            card(
                text('ntp'),
                facts(
                    [text('ntp'), [orMissing(clock.ntpServer), change(NTP_SERVER, text('ntp'))]],
                    [
                        text('ntp.refresh'),
                        [withUnit(clock.ntpRefreshSeconds, 's'), change(NTP_REFRESH, text('ntp.refresh'))],
                    ],
                ),
            ),
        );
    },
};
