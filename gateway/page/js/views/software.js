// The manufacturer's packages.

import { text } from '../texts.js';
import { orMissing, tableOr } from './parts.js';

export const software = {
    id: 'software',
    needs: ['packages'],
    render({ views }) {
        return tableOr(
            text('packages'),
            [{ title: text('package') }, { title: text('version') }, { title: text('manufacturer') }],
            views
                .get('packages')
                .packages.map(({ name, version, manufacturer }) => [
                    orMissing(name),
                    orMissing(version),
                    orMissing(manufacturer),
                ]),
        );
    },
};
