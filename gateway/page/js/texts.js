// What the page itself says, in English and German; the names of entries are the dictionary's.

const TEXTS = {
    'language.other': ['Deutsch', 'English'],
    skip: ['Skip to the content', 'Zum Inhalt'],
    views: ['Views', 'Ansichten'],
    'view.overview': ['Overview', 'Überblick'],
    'view.sensors': ['Sensors', 'Sensoren'],
    'view.drives': ['Drives', 'Laufwerke'],
    'view.network': ['Network', 'Netzwerk'],
    'view.time': ['Time', 'Zeit'],
    'view.outputs': ['Inputs and outputs', 'Ein- und Ausgänge'],
    'view.users': ['Users', 'Benutzer'],
    'view.software': ['Software', 'Software'],
    'view.runtime': ['Runtime', 'Laufzeit'],
    'view.dictionary': ['Dictionary', 'Verzeichnis'],

    'health.good': ['All is well', 'Alles in Ordnung'],
    'health.notice': ['Worth a look', 'Ein Blick lohnt'],
    'health.warning': ['Needs attention', 'Braucht Aufmerksamkeit'],
    'health.critical': ['Needs help now', 'Braucht jetzt Hilfe'],
    findings: ['What is wrong', 'Was nicht stimmt'],
    'findings.none': ['Nothing is wrong.', 'Es ist nichts zu beanstanden.'],

    loading: ['Asking the machine …', 'Die Maschine wird gefragt …'],
    down: [
        'The service does not answer: {0}. The page goes on by itself when it does.',
        'Der Dienst antwortet nicht: {0}. Sobald er es tut, geht es von selbst weiter.',
    ],
    lost: [
        'The connection to the machine is lost. The page tries again and again.',
        'Die Verbindung zur Maschine ist weg. Die Seite versucht es immer wieder.',
    ],
    none: ['none', 'keine'],
    nothing: ['The machine has nothing of this kind.', 'Davon hat die Maschine nichts.'],
    failed: ['That did not work: {0}', 'Das ging nicht: {0}'],
    yes: ['yes', 'ja'],
    no: ['no', 'nein'],
    on: ['on', 'an'],
    off: ['off', 'aus'],

    name: ['Name', 'Name'],
    serial: ['Serial number', 'Seriennummer'],
    hardware: ['Hardware', 'Hardware'],
    software: ['Software', 'Software'],
    system: ['Operating system', 'Betriebssystem'],
    uptime: ['Up for', 'Läuft seit'],
    machine: ['Machine', 'Maschine'],
    mainboard: ['Mainboard', 'Hauptplatine'],
    revision: ['Revision', 'Revision'],
    bios: ['BIOS', 'BIOS'],
    produced: ['Produced', 'Gefertigt'],
    boots: ['Starts', 'Starts'],
    hours: ['Operating hours', 'Betriebsstunden'],

    load: ['Load', 'Auslastung'],
    'frequency.size': ['Frequency, size', 'Takt, Größe'],
    temperature: ['Temperature', 'Temperatur'],
    memory: ['Memory in use', 'Belegter Speicher'],
    of: ['{0} of {1}', '{0} von {1}'],
    temperatures: ['Temperatures', 'Temperaturen'],
    voltages: ['Voltages', 'Spannungen'],
    fans: ['Fans', 'Lüfter'],
    sensor: ['Sensor', 'Sensor'],
    value: ['Value', 'Wert'],
    nominal: ['Nominal', 'Soll'],
    range: ['Lowest and highest', 'Tiefste und höchste'],
    history: ['Last minutes', 'Letzte Minuten'],
    plot: [
        '{0}: now {1}; in the last minutes from {2} to {3}',
        '{0}: jetzt {1}; in den letzten Minuten von {2} bis {3}',
    ],
    'plot.none': ['{0}: no values yet', '{0}: noch keine Werte'],

    drives: ['Drives', 'Laufwerke'],
    discs: ['Pools and media', 'Pools und Medien'],
    model: ['Model', 'Modell'],
    kind: ['Kind', 'Art'],
    'kind.flash': ['flash', 'Flash'],
    'kind.hard disk': ['hard disk', 'Festplatte'],
    'kind.other': ['other', 'andere'],
    'kind.unknown': ['unknown', 'unbekannt'],
    'kind.pool': ['pool', 'Pool'],
    'kind.medium': ['medium', 'Medium'],
    life: ['Life left', 'Rest-Lebensdauer'],
    spare: ['Spare left', 'Rest-Reserve'],
    sectors: ['Sectors reallocated, pending', 'Sektoren ersetzt, wartend'],
    state: ['State', 'Zustand'],
    path: ['Path', 'Pfad'],
    filesystem: ['File system', 'Dateisystem'],
    size: ['Size', 'Größe'],
    free: ['Free', 'Frei'],
    used: ['Used', 'Belegt'],

    adapters: ['Network adapters', 'Netzwerkadapter'],
    adapter: ['Adapter', 'Adapter'],
    address: ['Address', 'Adresse'],
    mask: ['Mask', 'Maske'],
    dhcp: ['DHCP', 'DHCP'],
    gateway: ['Gateway', 'Gateway'],
    dns: ['DNS servers, configured', 'DNS-Server, eingestellt'],
    'dns.active': ['DNS servers, in use', 'DNS-Server, in Gebrauch'],
    mac: ['Hardware address', 'Hardware-Adresse'],
    renew: ['Renew the lease', 'Adresse erneuern'],
    'network.hint': [
        'A change of an address restarts its adapter. Who changes the adapter that this page comes through loses the page.',
        'Eine neue Adresse startet ihren Adapter neu. Wer den Adapter ändert, über den diese Seite kommt, verliert die Seite.',
    ],

    clock: ['Clock', 'Uhr'],
    'clock.local': ['Local time', 'Ortszeit'],
    'clock.utc': ['UTC', 'UTC'],
    zone: ['Zone', 'Zeitzone'],
    ntp: ['Time server', 'Zeitserver'],
    'ntp.refresh': ['Asked every', 'Abfrage alle'],

    pins: ['GPIO pins', 'GPIO-Pins'],
    pin: ['Pin', 'Pin'],
    direction: ['Direction', 'Richtung'],
    'direction.in': ['input', 'Eingang'],
    'direction.out': ['output', 'Ausgang'],
    supplies: ['Switched supplies', 'Geschaltete Versorgungen'],
    supply: ['Supply', 'Versorgung'],

    users: ['Users', 'Benutzer'],
    user: ['User', 'Benutzer'],
    groups: ['Groups', 'Gruppen'],
    group: ['Group', 'Gruppe'],
    members: ['Members', 'Mitglieder'],

    packages: ['Packages', 'Pakete'],
    package: ['Package', 'Paket'],
    manufacturer: ['Manufacturer', 'Hersteller'],
    version: ['Version', 'Version'],

    ups: ['Uninterruptible power supply', 'Unterbrechungsfreie Stromversorgung'],
    power: ['Power', 'Strom'],
    'power.mains': ['on mains', 'vom Netz'],
    'power.battery': ['on battery', 'aus der Batterie'],
    'power.unknown': ['unknown', 'unbekannt'],
    charge: ['Charge', 'Ladung'],
    lasts: ['Lasts for', 'Reicht für'],
    failures: ['Power failures', 'Stromausfälle'],
    'battery.error': ['Battery error', 'Batteriefehler'],
    'fan.error': ['Fan error', 'Lüfterfehler'],

    runtime: ['Automation runtime', 'Automatisierungs-Laufzeit'],
    'runtime.running': ['running', 'läuft'],
    'runtime.stopped': ['not running', 'läuft nicht'],
    netid: ['Net id', 'Net-Id'],
    systemid: ['System id', 'System-Id'],
    changed: ['In this state for', 'In diesem Zustand seit'],
    figures: ['Figures of the router', 'Zahlen des Routers'],
    figure: ['Figure', 'Zahl'],
    routes: ['Routes', 'Routen'],
    route: ['Route', 'Route'],
    transport: ['Transport', 'Transport'],
    timeout: ['Time-out', 'Zeitgrenze'],
    flags: ['Flags', 'Merker'],

    search: ['Search by name, module or index, such as 8001', 'Suche nach Name, Modul oder Index, etwa 8001'],
    'search.entries': ['Search the entries, too', 'Auch in den Einträgen suchen'],
    'search.found': ['{0} of {1} objects', '{0} von {1} Objekten'],
    device: ['Device', 'Gerät'],
    unnamed: ['(no name)', '(ohne Namen)'],
    entry: ['Entry', 'Eintrag'],
    type: ['Type', 'Typ'],
    access: ['Access', 'Zugriff'],

    change: ['Change', 'Ändern'],
    'change.of': ['Change {0}', '{0} ändern'],
    now: ['Now', 'Jetzt'],
    new: ['New', 'Neu'],
    write: ['Write', 'Schreiben'],
    cancel: ['Cancel', 'Abbrechen'],
    unreadable: ['cannot be read', 'nicht lesbar'],
    written: ['{0} is now {1}', '{0} ist jetzt {1}'],
    accepted: ['{0}: accepted; the machine applies it', '{0}: angenommen; die Maschine setzt es um'],
    meanwhile: [
        'It has changed meanwhile. Look again at what is there now.',
        'Es hat sich inzwischen geändert. Bitte noch einmal ansehen, was jetzt da ist.',
    ],
    'not.number': ['This is not a number of the type {0}.', 'Das ist keine Zahl vom Typ {0}.'],
    'not.hex': ['This takes pairs of hexadecimal digits.', 'Hier gehören Paare hexadezimaler Ziffern hin.'],
    done: ['{0}: done', '{0}: erledigt'],
    started: ['{0}: started', '{0}: gestartet'],

    signin: ['Sign in', 'Anmelden'],
    signout: ['Sign out {0}', '{0} abmelden'],
    'signin.hint': ['With an account of this machine.', 'Mit einem Konto dieser Maschine.'],
    'signin.needed': ['Sign in to see this machine.', 'Bitte anmelden, um diese Maschine zu sehen.'],
    'signin.wait': [
        'Too many attempts. Try again in {0} seconds.',
        'Zu viele Versuche. Wieder möglich in {0} Sekunden.',
    ],
    password: ['Password', 'Passwort'],
};

function chosen() {
    let kept = null;
    try {
        kept = localStorage.getItem('language');
    } catch {
        // Without a store the browser's own language holds.
    }
    return (kept ?? navigator.language).startsWith('de') ? 'de' : 'en';
}

let current = chosen();

export function language() {
    return current;
}

export function setLanguage(wanted) {
    current = wanted;
    try {
        localStorage.setItem('language', wanted);
    } catch {
        // It holds for this page.
    }
}

export function text(key, ...values) {
    const both = TEXTS[key];
    if (both === undefined) {
        throw new Error(`no text ${key}`);
    }
    return values.reduce(
        (line, value, position) => line.replaceAll(`{${position}}`, () => String(value)),
        both[current === 'de' ? 1 : 0],
    );
}
