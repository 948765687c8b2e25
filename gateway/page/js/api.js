// The requests of the page. What fails is thrown as a Problem.

import { language } from './texts.js';

export class Problem extends Error {
    // From problem details; status 0 where nothing answered.
    constructor(details) {
        const cause = details.text ?? details.detail ?? details.title ?? 'no answer';
        super(details.code === undefined ? cause : `${cause} (${details.code} ${details.name ?? ''})`);
        Object.assign(this, { status: 0, current: undefined, retryAfter: undefined, ...details });
    }
}

export async function ask(path, method = 'GET', body = undefined) {
    const address = new URL(`/api/v1/${path}`, location.origin);
    address.searchParams.set('lang', language());
    let answer;
    try {
        answer = await fetch(address, {
            method,
            headers: body === undefined && method === 'GET' ? {} : { 'Content-Type': 'application/json' },
            body: body === undefined ? undefined : JSON.stringify(body),
            credentials: 'same-origin',
            cache: 'no-store',
        });
    } catch (error) {
        throw new Problem({ title: error.message });
    }
    if (answer.ok) {
        return answer.status === 204 ? null : await answer.json();
    }
    let details = { title: answer.statusText };
    try {
        details = await answer.json();
    } catch {
        // Its status has to do.
    }
    throw new Problem({ ...details, status: answer.status });
}

export function pathOf(index, sub = undefined) {
    const digits = index.replace(/^0x/, '');
    return sub === undefined ? `objects/${digits}` : `objects/${digits}/${sub}`;
}
