// Figures as people read them. Null is a figure that the machine does not have.

import { language } from './texts.js';

export const MISSING = '–';

export function number(value, digits = 0) {
    if (value === null || value === undefined) {
        return MISSING;
    }
    return new Intl.NumberFormat(language(), { minimumFractionDigits: digits, maximumFractionDigits: digits }).format(
        value,
    );
}

export function withUnit(value, unit, digits = 0) {
    return value === null || value === undefined ? MISSING : `${number(value, digits)}\u00a0${unit}`;
}

export function bytes(value) {
    if (value === null || value === undefined) {
        return MISSING;
    }
    const units = ['B', 'KiB', 'MiB', 'GiB', 'TiB', 'PiB'];
    let unit = 0;
    let rest = value;
    while (rest >= 1024 && unit < units.length - 1) {
        rest /= 1024;
        ++unit;
    }
    return withUnit(rest, units[unit], unit === 0 ? 0 : 1);
}

// Seconds in the two largest units that they fill.
export function duration(seconds) {
    if (seconds === null || seconds === undefined) {
        return MISSING;
    }
    const units = [
        ['d', 86400],
        ['h', 3600],
        ['min', 60],
        ['s', 1],
    ];
    let first = units.findIndex(([, length]) => seconds >= length);
    if (first < 0) {
        first = units.length - 1;
    }
    let rest = Math.floor(seconds);
    return units
        .slice(first, first + 2)
        .map(([unit, length]) => {
            const count = Math.floor(rest / length);
            rest -= count * length;
            return withUnit(count, unit);
        })
        .join(' ');
}

// A value of the dictionary as a line: octets, and what is no text, in hexadecimal pairs.
export function line(value) {
    if (value === null || value === undefined) {
        return MISSING;
    }
    if (typeof value === 'object') {
        return value.hex === '' ? '' : value.hex.match(/../g).join(' ');
    }
    return String(value);
}
