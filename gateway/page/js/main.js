// The page as a whole: which view is shown, who looks at it, and how it hears of what changes.

import { ask } from './api.js';
import { banner, close, note } from './dialog.js';
import { h, patch, said, shown } from './dom.js';
import { changeButton, edit } from './edit.js';
import { Live } from './live.js';
import { begin as beginPlots, draw, feed, gap } from './plot.js';
import { signIn, signOut } from './session.js';
import { language, setLanguage, text } from './texts.js';
import { dictionary } from './views/dictionary.js';
import { drives } from './views/drives.js';
import { network } from './views/network.js';
import { outputs } from './views/outputs.js';
import { overview } from './views/overview.js';
import { waiting } from './views/parts.js';
import { runtime } from './views/runtime.js';
import { sensors } from './views/sensors.js';
import { software } from './views/software.js';
import { time } from './views/time.js';
import { users } from './views/users.js';

const VIEWS = [overview, sensors, drives, network, time, outputs, users, software, runtime, dictionary];

// What every page follows: the head of the page and the plots live from it.
const ALWAYS = ['machine', 'sensors', 'system'];

// The object of the machine's own name.
const DEVICE_NAME = '0x1008';

let session = { signedIn: false, user: null, mayLook: true, mayChange: false, signIn: 'none' };
let view = overview;

const live = new Live((what) => {
    if (what === 'state') {
        if (live.state !== 'up') {
            gap();
        }
    } else {
        sample(what);
    }
    redraw();
});

function state() {
    return { views: live.views, entries: live.entries, session };
}

// The newest figures, for the plots.
function sample(what) {
    if (what === 'sensors') {
        const { temperatures, voltages, fans } = live.views.get(what);
        temperatures.forEach(({ name, celsius }) => feed(`temperature ${name}`, celsius));
        voltages.forEach(({ name, volts }) => feed(`voltage ${name}`, volts));
        fans.forEach(({ name, rpm }) => feed(`fan ${name}`, rpm));
    } else if (what === 'system') {
        const { processors, memory } = live.views.get(what);
        processors.forEach(({ name, loadPercent }) => feed(`load ${name}`, loadPercent));
        feed(
            'memory',
            memory.totalBytes === null || memory.availableBytes === null
                ? null
                : memory.totalBytes - memory.availableBytes,
        );
    }
}

function head() {
    const machine = live.views.get('machine');
    const name = document.getElementById('name');
    name.textContent = shown(machine?.name ?? '…');
    document.getElementById('serial').textContent = shown(machine?.serialNumber ?? '');
    const health = document.getElementById('health');
    health.hidden = machine === undefined;
    if (machine !== undefined) {
        health.className = `chip ${machine.health.state}`;
        health.textContent = text(`health.${machine.health.state}`);
    }
    document.title = `${shown(machine?.name ?? 'Sylvarin')} – ${text(`view.${view.id}`)}`;
    document.documentElement.lang = language();
    document.getElementById('skip').textContent = text('skip');
    const other = document.getElementById('language');
    other.textContent = text('language.other');
    other.lang = language() === 'de' ? 'en' : 'de';
    other.dataset.action = 'language';
    const account = document.getElementById('session');
    account.hidden = session.signIn === 'none' && !session.signedIn;
    account.textContent = session.signedIn ? text('signout', shown(session.user)) : text('signin');
    account.dataset.action = session.signedIn ? 'signout' : 'signin';
}

function menu() {
    const views = document.getElementById('views');
    views.setAttribute('aria-label', text('views'));
    patch(views, [
        h(
            'ul',
            {},
            VIEWS.map(({ id }) =>
                h(
                    'li',
                    {},
                    h('a', { href: `#/${id}`, 'aria-current': id === view.id ? 'page' : null }, text(`view.${id}`)),
                ),
            ),
        ),
    ]);
}

function tellState() {
    if (!session.mayLook) {
        banner(text('signin.needed'));
    } else if (live.state === 'down') {
        banner(text('down', live.cause));
    } else if (live.state === 'lost') {
        banner(text('lost'));
    } else {
        banner(null);
    }
}

function content() {
    if (!session.mayLook) {
        return [h('p', {}, h('button', { type: 'button', 'data-action': 'signin' }, text('signin')))];
    }
    return [
        live.views.has('machine') && view.needs.every((need) => live.views.has(need))
            ? view.render(state())
            : waiting(),
    ].flat(Infinity);
}

function redraw() {
    head();
    menu();
    tellState();
    const place = document.getElementById('view');
    place.classList.toggle('stale', live.state === 'down' || live.state === 'lost');
    const title =
        view === overview && live.views.has('machine')
            ? [said(live.views.get('machine').name ?? ''), changeButton(state(), DEVICE_NAME, 0, text('name'))]
            : text(`view.${view.id}`);
    const wanted = [h('h1', { tabindex: -1 }, title), ...content()].filter(
        (node) => node !== null && node !== undefined && node !== false,
    );
    patch(place, wanted);
    draw();
    if (session.mayLook) {
        live.follow([...ALWAYS, ...view.needs], view.objects?.() ?? []);
    }
}

async function askSession() {
    session = await ask('session');
    if (!session.mayLook) {
        live.stop();
    }
    redraw();
}

async function route() {
    const id = location.hash.replace(/^#\//, '');
    const before = view;
    view = VIEWS.find((one) => one.id === id) ?? overview;
    redraw();
    document.querySelector('#views [aria-current]').scrollIntoView({ block: 'nearest', inline: 'nearest' });
    if (view !== before) {
        document.querySelector('#view h1').focus();
        scrollTo(0, 0);
    }
    await begin();
}

async function begin() {
    if (session.mayLook) {
        await view.begin?.(redraw);
    }
}

async function runService({ index, title }) {
    const { state: how, error, detail } = await ask(`services/${index.replace(/^0x/, '')}`, 'POST', { text: '' });
    if (how === 'failed') {
        note(text('failed', `${title}: ${error?.text ?? detail ?? ''}`), true);
    } else {
        note(text(how === 'done' ? 'done' : 'started', title));
    }
}

const ACTIONS = {
    close,
    edit: async ({ index, sub, title, kind }) => {
        await edit(index, Number(sub), title, kind);
    },
    service: runService,
    signin: () => signIn(askSession),
    signout: () => signOut(askSession),
    language: async () => {
        setLanguage(language() === 'de' ? 'en' : 'de');
        redraw();
        await begin();
    },
};

// What goes wrong behind a click or a change of view is told, never lost.
async function guarded(work) {
    try {
        await work();
    } catch (failure) {
        note(text('failed', failure.message), true);
        if (failure.status === 401) {
            await askSession().catch(() => {});
        }
    }
}

document.addEventListener('click', (event) => {
    const button = event.target.closest?.('[data-action]');
    if (button !== null && button !== undefined) {
        guarded(() => ACTIONS[button.dataset.action](button.dataset));
    }
});
document.addEventListener('input', ({ target }) => {
    if (target.dataset.search === 'words') {
        dictionary.search(target.value, redraw);
    } else if (target.dataset.search === 'entries') {
        dictionary.searchEntries(target.checked, redraw);
    }
});
document.addEventListener(
    'toggle',
    ({ target }) => {
        if (target.dataset?.index !== undefined) {
            dictionary.toggle(target.dataset.index, target.open, redraw);
        }
    },
    true,
);
addEventListener('hashchange', () => guarded(route));
// A page that is left may be kept to come back to: its stream would hold one of the few connections to the machine.
addEventListener('pagehide', () => live.stop());
addEventListener('pageshow', ({ persisted }) => persisted && redraw());

beginPlots(redraw);
redraw();
guarded(async () => {
    await askSession();
    await route();
});
