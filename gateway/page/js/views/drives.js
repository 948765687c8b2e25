// Physical drives with the life they have left, and the space on pools and media.

import { h } from '../dom.js';
import { bytes, MISSING, number } from '../format.js';
import { text } from '../texts.js';
import { chip, orMissing, share, tableOr } from './parts.js';

function sectors(reallocated, pending) {
    return reallocated === null && pending === null ? MISSING : `${number(reallocated)}, ${number(pending)}`;
}

export const drives = {
    id: 'drives',
    needs: ['drives', 'discs'],
    render({ views }) {
        return [
            h(
                'section',
                {},
                tableOr(
                    text('drives'),
                    [
                        { title: text('serial') },
                        { title: text('model') },
                        { title: text('kind') },
                        { title: text('life') },
                        { title: text('spare') },
                        { title: text('sectors') },
                        { title: text('state') },
                    ],
                    views
                        .get('drives')
                        .drives.map((drive) => [
                            orMissing(drive.serial),
                            orMissing(drive.model),
                            text(`kind.${drive.kind}`),
                            share(text('life'), drive.lifeLeftPercent, { low: 20 }),
                            share(text('spare'), drive.spareLeftPercent, { low: 20 }),
                            sectors(drive.reallocatedSectors, drive.pendingSectors),
                            chip(drive.severity, drive.text),
                        ]),
                ),
            ),
            h(
                'section',
                {},
                tableOr(
                    text('discs'),
                    [
                        { title: text('path') },
                        { title: text('name') },
                        { title: text('kind') },
                        { title: text('filesystem') },
                        { title: text('size'), right: true },
                        { title: text('free'), right: true },
                        { title: text('used') },
                    ],
                    views
                        .get('discs')
                        .discs.map(({ path, name, kind, fileSystem, sizeBytes, freeBytes }) => [
                            orMissing(path),
                            orMissing(name),
                            text(`kind.${kind}`),
                            orMissing(fileSystem),
                            bytes(sizeBytes),
                            bytes(freeBytes),
                            share(
                                text('used'),
                                sizeBytes > 0 && freeBytes !== null ? 100 - (100 * freeBytes) / sizeBytes : null,
                                { high: 90 },
                            ),
                        ]),
                ),
            ),
        ];
    },
};
