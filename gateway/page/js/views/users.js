// Accounts and groups, to look at.

import { h, said } from '../dom.js';
import { text } from '../texts.js';
import { tableOr } from './parts.js';

function list(names) {
    return names.length === 0
        ? text('none')
        : names.flatMap((name, position) => (position === 0 ? [said(name)] : [', ', said(name)]));
}

export const users = {
    id: 'users',
    needs: ['users'],
    render({ views }) {
        const { users: accounts, groups } = views.get('users');
        return [
            h(
                'section',
                {},
                tableOr(
                    text('users'),
                    [{ title: text('user') }, { title: text('groups') }],
                    accounts.map(({ name, groups: its }) => [said(name), list(its)]),
                ),
            ),
            h(
                'section',
                {},
                tableOr(
                    text('groups'),
                    [{ title: text('group') }, { title: text('members') }],
                    groups.map((group) => [
                        said(group),
                        list(accounts.filter(({ groups: its }) => its.includes(group)).map(({ name }) => name)),
                    ]),
                ),
            ),
        ];
    },
};
