// What the machine tells of itself while the page is open: one stream, whatever the page shows.

import { language } from './texts.js';

const RETRY_MS = 3000;

export class Live {
    views = new Map(); // name -> newest data
    entries = new Map(); // index -> Map of sub-index -> {value} or {error}
    state = 'asking'; // asking, up, down, lost
    cause = '';

    #stream = null;
    #wanted = '';
    #retry = null;
    #changed;

    // changed(what) is called after each event: a view's name, an index, or "state".
    constructor(changed) {
        this.#changed = changed;
    }

    follow(views, objects) {
        const query = new URLSearchParams({ lang: language() });
        if (views.length > 0) {
            query.set('views', [...new Set(views)].sort().join(','));
        }
        if (objects.length > 0) {
            query.set(
                'objects',
                objects
                    .map((index) => index.replace(/^0x/, ''))
                    .sort()
                    .join(','),
            );
        }
        const wanted = query.toString();
        if (wanted !== this.#wanted) {
            this.#wanted = wanted;
            this.#open();
        }
    }

    stop() {
        this.#wanted = '';
        clearTimeout(this.#retry);
        this.#stream?.close();
        this.#stream = null;
    }

    #open() {
        clearTimeout(this.#retry);
        this.#stream?.close();
        const stream = new EventSource(`/api/v1/events?${this.#wanted}`);
        this.#stream = stream;
        const on = (name, take) => {
            stream.addEventListener(name, (event) => {
                if (stream === this.#stream) {
                    take(JSON.parse(event.data));
                }
            });
        };
        on('state', ({ service, text }) => {
            this.state = service;
            this.cause = text ?? '';
            this.#changed('state');
        });
        on('view', ({ view, data }) => {
            this.views.set(view, data);
            this.#changed(view);
        });
        on('object', ({ index, entries }) => {
            const known = this.entries.get(index) ?? new Map();
            for (const { sub, value, error } of entries) {
                known.set(sub, { value, error });
            }
            this.entries.set(index, known);
            this.#changed(index);
        });
        // A browser gives up a stream that was refused; while the gateway is away that is not the end.
        stream.addEventListener('error', () => {
            if (stream !== this.#stream) {
                return;
            }
            this.state = 'lost';
            this.#changed('state');
            if (stream.readyState === EventSource.CLOSED) {
                this.#retry = setTimeout(() => this.#open(), RETRY_MS);
            }
        });
    }
}
