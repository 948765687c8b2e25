// Live figures of the board, the processors and the supplies, each with its last minutes.

import { h, said } from '../dom.js';
import { bytes, duration, MISSING, number, withUnit } from '../format.js';
import { plot } from '../plot.js';
import { text } from '../texts.js';
import { card, facts, orMissing, share, tableOr } from './parts.js';

function sensorTable(caption, extra, rows) {
    return h(
        'section',
        {},
        tableOr(
            caption,
            [{ title: text('sensor') }, { title: text('value'), right: true }, ...extra, { title: text('history') }],
            rows,
        ),
    );
}

function range(lowest, highest) {
    return lowest === null && highest === null ? MISSING : `${withUnit(lowest, '°C')} … ${withUnit(highest, '°C')}`;
}

function temperatures({ temperatures }) {
    const format = (value) => withUnit(value, '°C');
    return sensorTable(
        text('temperatures'),
        [{ title: text('range') }],
        temperatures.map(({ name, celsius, lowestCelsius, highestCelsius }) => [
            said(name),
            format(celsius),
            range(lowestCelsius, highestCelsius),
            plot(`temperature ${name}`, name, format),
        ]),
    );
}

function voltages({ voltages }) {
    const format = (value) => withUnit(value, 'V', 3);
    return sensorTable(
        text('voltages'),
        [{ title: text('nominal'), right: true }],
        voltages.map(({ name, volts, nominalVolts }) => [
            said(name),
            format(volts),
            format(nominalVolts),
            plot(`voltage ${name}`, name, format),
        ]),
    );
}

function fans({ fans }) {
    const format = (value) => withUnit(value, 'rpm');
    return sensorTable(
        text('fans'),
        [],
        fans.map(({ name, rpm }) => [said(name), format(rpm), plot(`fan ${name}`, name, format)]),
    );
}

function processors({ processors, memory }) {
    const format = (value) => withUnit(value, '%');
    const rows = processors.map(({ name, loadPercent, frequencyMegahertz }) => [
        said(name),
        format(loadPercent),
        withUnit(frequencyMegahertz, 'MHz'),
        plot(`load ${name}`, name, format),
    ]);
    if (memory.totalBytes !== null && memory.availableBytes !== null) {
        rows.push([
            text('memory'),
            bytes(memory.totalBytes - memory.availableBytes),
            bytes(memory.totalBytes),
            plot('memory', text('memory'), bytes),
        ]);
    }
    return sensorTable(text('load'), [{ title: text('frequency.size'), right: true }], rows);
}

function ups({
    name,
    model,
    manufacturer,
    revision,
    power,
    chargePercent,
    runtimeSeconds,
    powerFailures,
    batteryError,
    fanError,
}) {
    const fault = (value) => (value === null ? MISSING : text(value ? 'yes' : 'no'));
    return card(
        said(name),
        facts(
            [text('model'), orMissing(model)],
            [text('manufacturer'), orMissing(manufacturer)],
            [text('revision'), orMissing(revision)],
            [text('power'), power === null ? MISSING : text(`power.${power}`)],
            [text('charge'), share(text('charge'), chargePercent, { low: 30 })],
            [text('lasts'), duration(runtimeSeconds)],
            [text('failures'), number(powerFailures)],
            [text('battery.error'), fault(batteryError)],
            [text('fan.error'), fault(fanError)],
        ),
    );
}

function mainboard(board) {
    return card(
        text('mainboard'),
        facts(
            [text('name'), orMissing(board.name)],
            [text('serial'), orMissing(board.serialNumber)],
            [text('revision'), number(board.revision)],
            [text('bios'), orMissing(board.biosVersion)],
            [text('produced'), orMissing(board.productionDate)],
            [text('boots'), number(board.bootCount)],
            [text('hours'), number(board.operatingHours)],
        ),
    );
}

export const sensors = {
    id: 'sensors',
    needs: ['sensors', 'system', 'ups'],
    render({ views }) {
        const board = views.get('system').mainboard;
        return [
            temperatures(views.get('sensors')),
            voltages(views.get('sensors')),
            fans(views.get('sensors')),
            processors(views.get('system')),
            h('div', { class: 'cards' }, views.get('ups').supplies.map(ups), board === null ? null : mainboard(board)),
        ];
    },
};
