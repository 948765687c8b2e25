"""The page in a real browser: what it shows, what it changes, who can use it. One browser for all of it.

Environment, set by `run` beside this file: PAGE_BUILD, the build folder; PAGE_AXE, axe.min.js; PAGE_PICTURES, a descriptor
that takes pictures of each view, for a person to look at, as an archive.
"""

import base64
import io
import os
import sys
import tarfile
import unittest
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

import realmachine
import standin

FILES = Path(os.environ["PAGE_BUILD"]) / "share/sylvarin/gateway"

WAIT = 60
POLL = 0.1
DESKTOP = (1280, 900, False)
PHONE = (390, 844, True)
VIEWS = ["overview", "sensors", "drives", "network", "time", "outputs", "users", "software", "runtime", "dictionary"]

# Tags, quotes, entities, controls, what turns the direction of writing, a half of a surrogate pair's place holder.
HOSTILE = (
    "<img src=x onerror=window.hurt=1><script>window.hurt=1</script>"
    "\"'`&lt;&amp;\u0000\u001b[31m\u202edrow\u2066\ufffd\u0085"
)

# What axe finds, as [rule, impact, where].
AXE = """
    const done = arguments[arguments.length - 1];
    const where = ({html}) => html.slice(0, 200);
    axe.run(document, {resultTypes: ['violations']}).then(({violations}) =>
        done(violations.map(({id, impact, nodes}) => [id, impact, nodes.map(where)])));
"""

# Lets the page live for minutes within seconds, for its plots.
FAST = 120
FASTER = """
    const begin = Date.now();
    const now = Date.now.bind(Date);
    const every = setInterval.bind(window);
    Date.now = () => begin + (now() - begin) * arguments[0];
    window.setInterval = (work, pause) => every(work, pause / arguments[0]);
"""

# The places in the document of what can be used.
CONTROLS = """
    window.controls = () => {
        const all = [...document.querySelectorAll('*')];
        return [...document.querySelectorAll('a[href], button, input, select, summary')]
            .filter((element) => element.checkVisibility())
            .map((element) => all.indexOf(element));
    };
"""

browser = None
pictures = None


def setUpModule():
    global browser, pictures
    if "PAGE_PICTURES" in os.environ:
        pictures = tarfile.open(fileobj=os.fdopen(int(os.environ["PAGE_PICTURES"]), "wb"), mode="w|")
    options = Options()
    for argument in [
        "--headless=new",
        "--no-sandbox",
        "--disable-gpu",
        "--disable-dev-shm-usage",
        "--disable-quic",
        "--disable-sync",
        "--disable-background-networking",
        "--disable-component-update",
        "--no-first-run",
        "--lang=en",
    ]:
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def tearDownModule():
    browser.quit()
    if pictures:
        pictures.close()


class Page(unittest.TestCase):
    """A browser at a page."""

    address = None

    def show(self, view, size=DESKTOP, dark=False):
        width, height, is_mobile = size
        browser.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride",
            {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": is_mobile},
        )
        browser.execute_cdp_cmd(
            "Emulation.setEmulatedMedia",
            {"features": [{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]},
        )
        browser.get("about:blank")
        browser.get(f"{self.address}#/{view}")
        self.settled()

    def show_fast(self, view):
        """The same with time that runs FAST times as fast on the page."""
        script = f"(function () {{ {FASTER} }})({FAST})"
        added = browser.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": script})
        self.show(view)
        browser.execute_cdp_cmd("Page.removeScriptToEvaluateOnNewDocument", added)

    def go(self, view):
        browser.execute_script("location.hash = arguments[0]", f"#/{view}")
        self.settled()

    def settled(self):
        """The view has its data: nothing says any more that the machine is asked."""
        WebDriverWait(browser, WAIT, POLL).until(
            lambda _: self.one("#view h1") is not None and self.one("#view > .waiting") is None
        )

    def one(self, selector):
        found = browser.find_elements(By.CSS_SELECTOR, selector)
        return found[0] if found else None

    def text(self, selector="#view"):
        return browser.execute_script("return document.querySelector(arguments[0])?.innerText ?? ''", selector)

    def until(self, promise, what):
        WebDriverWait(browser, WAIT, POLL).until(lambda _: promise(), what)

    def until_text(self, wanted, selector="#view"):
        self.until(lambda: wanted in self.text(selector), f"{wanted!r} is not shown in {selector}")

    def click(self, label):
        """Clicks the button of that accessible name, as a reader of the screen finds it."""
        for button in browser.find_elements(By.CSS_SELECTOR, "button"):
            if button.is_displayed() and label in (button.get_attribute("aria-label"), button.text):
                button.click()
                return
        self.fail(f"there is no button {label!r}")

    def errors(self):
        return [entry["message"] for entry in browser.get_log("browser") if entry["level"] == "SEVERE"]

    def screenshot(self, name):
        if pictures:
            width, height = browser.execute_script("return [innerWidth, document.documentElement.scrollHeight]")
            clip = {"x": 0, "y": 0, "width": width, "height": min(height, 4000), "scale": 1}
            picture = browser.execute_cdp_cmd("Page.captureScreenshot", {"captureBeyondViewport": True, "clip": clip})
            data = base64.b64decode(picture["data"])
            member = tarfile.TarInfo(f"{name}.png")
            member.size = len(data)
            pictures.addfile(member, io.BytesIO(data))

    def keyboard(self, *keys):
        actions = webdriver.ActionChains(browser)
        for key in keys:
            actions.send_keys(key)
        actions.perform()


class StandIn(Page):
    """A page whose machine is a stand-in, which says and does what a test wants."""

    @classmethod
    def setUpClass(cls):
        cls.machine = standin.Machine()
        cls.address = f"http://127.0.0.1:{standin.serve(cls.machine, FILES)}/"

    def setUp(self):
        fresh = standin.Machine()
        for name in ["views", "objects", "modules", "session", "up", "written"]:
            setattr(self.machine, name, getattr(fresh, name))
        self.machine.changed()
        browser.get_log("browser")

    # What is shown

    def test_every_view_shows_what_the_machine_says(self):
        expected = {
            "overview": [
                "IPC-4711",
                "Needs help now",
                "nearly worn out",
                "12\u00a0%",
                "3.0\u00a0GiB",
                "on mains",
                "running",
                "1\u00a0d 2\u00a0h",
            ],
            "sensors": [
                "47\u00a0°C",
                "-4\u00a0°C … 71\u00a0°C",
                "12.040\u00a0V",
                "2,310\u00a0rpm",
                "CB3064",
                "4,711",
                "13\u00a0min 30\u00a0s",
            ],
            "drives": [
                "MSA18470001A2F3B",
                "Seagate Constellation ES.3 1 TB",
                "3\u00a0%",
                "16, 1",
                "unreadable sectors",
                "232.0\u00a0GiB",
                "25\u00a0%",
            ],
            "network": ["em0", "192.168.10.20", "255.255.255.0", "02:00:00:00:20:20"],
            "time": ["Europe/Berlin", "ntp.example.net", "64\u00a0s", "2026-11-22 04:12:41"],
            "outputs": ["input", "output", "Us1", "on"],
            "users": ["alice", "wheel, panels", "Administrator"],
            "software": ["runtime-core", "3.1.4024"],
            "runtime": ["5.8.15.47.1.1", "press.example", "5,000\u00a0ms", "16,777,216"],
            "dictionary": ["0x8001", "Network settings", "6 of 6 objects"],
        }
        self.show("overview")
        for view, texts in expected.items():
            with self.subTest(view=view):
                self.go(view)
                shown = browser.execute_script("return document.body.innerText")
                for text in texts:
                    self.assertIn(text, shown)
        self.assertEqual(self.errors(), [])

    def test_a_value_that_changes_changes_on_the_page(self):
        self.show("sensors")
        self.until_text("2,310\u00a0rpm")
        self.machine.views["sensors"]["fans"][0]["rpm"] = 640
        self.machine.changed()
        self.until_text("640\u00a0rpm")

    def test_the_plots_have_words_for_who_does_not_see_them(self):
        self.show("overview")
        self.until(
            lambda: "now 12" in self.one('[data-plot="load CPU0"]').get_attribute("aria-label"), "the plot has no words"
        )
        self.until(lambda: self.one('[data-plot="load CPU0"] canvas') is not None, "nothing is plotted")

    def test_german_is_german_and_stays(self):
        self.show("drives")
        self.click("Deutsch")
        self.until_text("Laufwerke")
        self.assertEqual(browser.execute_script("return document.documentElement.lang"), "de")
        self.show("drives")
        self.assertIn("Laufwerke", self.text("#view h1"))
        self.click("English")
        self.until_text("Drives", "#view h1")

    def test_without_a_value_nothing_is_made_up(self):
        for view in self.machine.views.values():
            for key in [
                "drives",
                "discs",
                "users",
                "groups",
                "packages",
                "supplies",
                "routes",
                "pins",
                "temperatures",
                "voltages",
                "fans",
                "processors",
                "adapters",
            ]:
                if isinstance(view.get(key), list):
                    view[key] = []
        self.machine.views["runtime"] = {"runtime": None}
        self.machine.views["system"]["mainboard"] = None
        self.machine.views["system"]["memory"] = {"totalBytes": None, "availableBytes": None}
        self.machine.views["time"] = dict.fromkeys(self.machine.views["time"], None) | {"zoneLists": []}
        self.machine.changed()
        self.show("overview")
        for view in VIEWS[:-1]:
            with self.subTest(view=view):
                self.go(view)
                self.assertNotRegex(self.text(), r"NaN|undefined|null|Infinity")
        self.assertEqual(self.errors(), [])

    # The dictionary

    def test_the_dictionary_is_found_by_name_index_and_entry(self):
        self.show("dictionary")
        search = self.one("[data-search=words]")
        search.send_keys("router")
        self.until_text("1 of 6 objects")
        self.assertIn("0x8029", self.text())
        search.clear()
        search.send_keys("80c1")
        self.until_text("1 of 6 objects")
        search.clear()
        search.send_keys("notsupported")
        self.until_text("0 of 6 objects")
        self.one("[data-search=entries]").click()
        self.until_text("1 of 6 objects")
        self.assertIn("Network settings", self.text())

    def test_an_object_shows_types_access_and_codes_and_stays_live(self):
        self.show("dictionary")
        self.one('details[data-index="0x8001"] summary').click()
        self.until_text("OBJ_E_NOTSUPPORTED")
        for text in ["VISIBLE_STRING", "rw", "BOOLEAN", '"192.168.10.20"', "not supported"]:
            self.assertIn(text, self.text())
        self.one('details[data-index="0x8029"] summary').click()
        self.until_text("18446744073709551615")
        self.assertIn("00 ff 10", self.text())
        self.machine.entry("0x8001", 2)["value"] = "10.0.0.7"
        self.machine.changed()
        self.until_text('"10.0.0.7"')

    # Changes

    def test_old_and_new_stand_side_by_side_before_anything_is_written(self):
        self.show("network")
        self.click("Change em0 Address")
        self.until(lambda: self.one("dialog[open] input") is not None, "no dialog")
        self.assertEqual(self.text("dialog .old"), "192.168.10.20")
        field = self.one("dialog input")
        self.assertEqual(field.get_attribute("value"), "192.168.10.20")
        field.clear()
        field.send_keys("192.168.10.21")
        self.assertEqual(self.machine.written, [])
        self.click("Write")
        self.until(lambda: self.one("dialog[open]") is None, "the dialog stays")
        self.assertEqual(self.machine.written, [("0x8001", 2, "192.168.10.21")])
        self.assertIn("192.168.10.21", self.text("#notes"))

    def test_what_has_changed_meanwhile_is_shown_before_it_is_overwritten(self):
        self.show("network")
        self.click("Change em0 Address")
        self.until(lambda: self.one("dialog[open] input") is not None, "no dialog")
        self.machine.entry("0x8001", 2)["value"] = "10.9.9.9"
        field = self.one("dialog input")
        field.clear()
        field.send_keys("192.168.10.21")
        self.click("Write")
        self.until_text("10.9.9.9", "dialog .old")
        self.assertIn("changed meanwhile", self.text("dialog"))
        self.assertEqual(self.one("dialog input").get_attribute("value"), "192.168.10.21")
        self.assertEqual(self.machine.written, [])
        self.click("Write")
        self.until(lambda: self.machine.written == [("0x8001", 2, "192.168.10.21")], "not written")

    def test_each_type_is_written_as_what_it_is(self):
        cases = [
            ("network", "Change em0 DHCP", "select", "yes", ("0x8001", 4, True)),
            ("time", "Change Asked every", "input", "0x80", ("0x80C1", 2, 128)),
            ("time", "Change Zone", "select", "America/New_York", ("0x80C1", 5, 1)),
            ("outputs", "Change Pin 5", "select", "1 (on)", ("0x80F3", 5, 1)),
            ("overview", "Change Name", "input", "IPC-0815", ("0x1008", 0, "IPC-0815")),
        ]
        self.show("overview")
        for view, button, kind, typed, written in cases:
            with self.subTest(button=button):
                self.go(view)
                self.machine.written.clear()
                self.click(button)
                self.until(lambda: self.one(f"dialog[open] {kind}") is not None, "no dialog")
                field = self.one(f"dialog {kind}")
                if kind == "select":
                    Select(field).select_by_visible_text(typed)
                else:
                    field.clear()
                    field.send_keys(typed)
                self.click("Write")
                self.until(lambda: self.machine.written == [written], f"{self.machine.written} is not {written}")
                self.until(lambda: self.one("dialog[open]") is None, "the dialog stays")

    def test_what_is_no_number_is_not_sent(self):
        self.show("time")
        self.click("Change Asked every")
        self.until(lambda: self.one("dialog[open] input") is not None, "no dialog")
        field = self.one("dialog input")
        field.clear()
        field.send_keys("often")
        self.click("Write")
        self.until_text("not a number", "dialog")
        self.assertEqual(self.machine.written, [])
        self.click("Cancel")
        self.until(lambda: self.one("dialog[open]") is None, "the dialog stays")

    def test_an_entry_that_cannot_be_read_can_be_written(self):
        self.show("dictionary")
        self.one('details[data-index="0x8001"] summary').click()
        self.until_text("OBJ_E_NOTSUPPORTED")
        self.click("Change 0x8001:7 Reserved 7")
        self.until_text("cannot be read", "dialog")
        self.one("dialog input").send_keys("x")
        self.click("Write")
        self.until(lambda: self.machine.written == [("0x8001", 7, "x")], "not written")

    def test_the_lease_is_renewed_by_the_adapters_own_service(self):
        self.show("network")
        self.click("Renew the lease")
        self.until(lambda: self.machine.written == [("B010", None, {"text": ""})], f"{self.machine.written}")

    # Who may

    def test_who_may_not_change_is_offered_nothing_to_change(self):
        self.machine.session = {
            "signedIn": False,
            "user": None,
            "mayLook": True,
            "mayChange": False,
            "signIn": "offered",
        }
        self.show("network")
        self.assertEqual(browser.find_elements(By.CSS_SELECTOR, "[data-action=edit], [data-action=service]"), [])
        self.click("Sign in")
        self.until(lambda: self.one("dialog[open] input[name=user]") is not None, "no dialog")
        self.keyboard("alice", Keys.TAB, "wrong", Keys.ENTER)
        self.until_text("wrong name or password", "dialog")
        self.assertEqual(self.one("dialog input[name=password]").get_attribute("value"), "")
        self.one("dialog input[name=password]").send_keys("secret", Keys.ENTER)
        self.until(lambda: self.one("[data-action=edit]") is not None, "nothing can be changed")
        self.click("Sign out alice")
        self.until(lambda: self.one("[data-action=edit]") is None, "still there")

    def test_who_may_not_look_sees_nothing_but_where_to_sign_in(self):
        self.machine.session = {
            "signedIn": False,
            "user": None,
            "mayLook": False,
            "mayChange": False,
            "signIn": "needed",
        }
        self.show("network")
        self.assertIn("Sign in to see this machine", self.text("#banner"))
        self.assertNotIn("192.168.10.20", browser.execute_script("return document.body.innerText"))

    # When things go wrong

    def test_a_service_that_is_down_is_told_and_comes_back_by_itself(self):
        self.show("sensors")
        self.until_text("2,310\u00a0rpm")
        self.machine.up = False
        self.machine.changed()
        self.until_text("does not answer", "#banner")
        self.assertIn("stale", self.one("#view").get_attribute("class"))
        self.machine.up = True
        self.machine.views["sensors"]["fans"][0]["rpm"] = 700
        self.machine.changed()
        self.until_text("700\u00a0rpm")
        self.assertEqual(self.text("#banner"), "")

    def test_a_page_that_is_left_asks_nothing_and_goes_on_when_it_is_come_back_to(self):
        self.show("sensors")
        self.until_text("2,310\u00a0rpm")
        browser.get("about:blank")
        self.until(lambda: self.machine.streams == 0, "a stream stays open")
        self.machine.views["sensors"]["fans"][0]["rpm"] = 701
        browser.back()
        self.until_text("701\u00a0rpm")

    def test_hostile_text_in_every_value_is_shown_as_text(self):
        self.machine.views = standin.with_text_everywhere(self.machine.views, HOSTILE)
        self.machine.objects = standin.with_text_everywhere(self.machine.objects, HOSTILE)
        self.machine.modules = standin.with_text_everywhere(self.machine.modules, HOSTILE)
        for one in self.machine.objects:
            one["index"] = one["index"][:6]
            for entry in one["entries"]:
                entry["index"] = one["index"]
        for view in self.machine.views.values():
            for adapter in view.get("adapters", []):
                adapter["index"] = adapter["index"][:6]
        self.machine.changed()
        self.show("overview")
        plain = browser.execute_script("return document.querySelectorAll('img, iframe, script').length")
        for view in VIEWS:
            with self.subTest(view=view):
                self.go(view)
                if view == "dictionary":
                    self.one('details[data-index="0x8001"] summary').click()
                    self.until_text("OBJ_E_NOTSUPPORTED")
                shown = self.text()
                self.assertIn("<img src=x onerror=window.hurt=1>", shown)
                self.assertIn("&lt;&amp;\u2400\u241b[31m", shown)
                self.assertNotIn("\u202e", shown)
                self.assertEqual(
                    browser.execute_script("return document.querySelectorAll('img, iframe, script').length"), plain
                )
                self.assertIsNone(browser.execute_script("return window.hurt ?? null"))
        self.go("network")
        label = browser.find_elements(By.CSS_SELECTOR, "[data-action=edit]")[0].get_attribute("aria-label")
        self.assertIn("<img", label)
        self.assertNotIn("\u202e", browser.title)

    # For everybody

    def test_nothing_serious_stands_in_anybodys_way(self):
        axe = Path(os.environ["PAGE_AXE"]).read_text()
        for size, dark, tag in [
            (DESKTOP, False, "desktop-light"),
            (DESKTOP, True, "desktop-dark"),
            (PHONE, False, "phone-light"),
            (PHONE, True, "phone-dark"),
        ]:
            self.show("overview", size, dark)
            browser.execute_script(axe)
            for view in VIEWS:
                with self.subTest(view=view, tag=tag):
                    self.go(view)
                    if view == "dictionary":
                        if self.one('details[data-index="0x8001"][open]') is None:
                            self.one('details[data-index="0x8001"] summary').click()
                        self.until_text("OBJ_E_NOTSUPPORTED")
                    wide = browser.execute_script("return document.documentElement.scrollWidth - innerWidth")
                    self.assertLessEqual(wide, 0, "the page is wider than its window")
                    self.screenshot(f"{tag}-{view}")
                    if tag in ("desktop-dark", "phone-light"):
                        continue  # colours and layout were looked at with the others
                    found = browser.execute_async_script(AXE)
                    self.assertEqual([one for one in found if one[1] in ("serious", "critical")], [])

    def test_the_keyboard_alone_reaches_everything(self):
        self.show("network")
        browser.execute_script("document.activeElement.blur(); scrollTo(0, 0)")
        browser.execute_script(CONTROLS)
        wanted = set(browser.execute_script("return controls()"))
        reached = set()
        for _ in range(len(wanted) + 5):
            self.keyboard(Keys.TAB)
            reached.add(
                browser.execute_script("return [...document.querySelectorAll('*')].indexOf(document.activeElement)")
            )
        self.assertEqual(wanted - reached, set())
        # A change from its button to its end, without a mouse.
        browser.execute_script("document.querySelector('[data-action=edit]').focus()")
        self.keyboard(Keys.ENTER)
        self.until(lambda: self.one("dialog[open] input") is not None, "no dialog")
        self.assertEqual(browser.execute_script("return document.activeElement.name"), "new")
        self.keyboard("192.168.10.44", Keys.ENTER)  # what is there is selected
        self.until(lambda: self.machine.written == [("0x8001", 2, "192.168.10.44")], "not written")
        self.until(lambda: self.one("dialog[open]") is None, "the dialog stays")
        # A view by its link tells where the reader is now.
        self.one('#views a[href="#/users"]').send_keys(Keys.ENTER)
        self.until(
            lambda: browser.execute_script("return document.activeElement.tagName") == "H1", "the focus stays behind"
        )


class Real(Page):
    """The page at the real service, through the real gateway."""

    @classmethod
    def setUpClass(cls):
        cls.machine = realmachine.RealMachine()
        cls.address = cls.machine.address

    @classmethod
    def tearDownClass(cls):
        statuses = cls.machine.stop()
        if statuses != (0, 0):
            raise AssertionError(f"gateway and service ended with {statuses}")

    def sign_in(self):
        if self.one("[data-action=signout]") is not None:
            return
        self.click("Sign in")
        self.until(lambda: self.one("dialog[open] input[name=user]") is not None, "no dialog")
        self.keyboard(realmachine.EDITOR, Keys.TAB, realmachine.PASSWORD, Keys.ENTER)
        self.until(lambda: self.one("[data-action=signout]") is not None, self.text("dialog"))

    def write(self, button, value):
        self.click(button)
        self.until(lambda: self.one("dialog[open] input") is not None, "no dialog")
        field = self.one("dialog input")
        field.clear()
        field.send_keys(value)
        self.click("Write")
        self.until(lambda: self.one("dialog[open]") is None, f"the dialog stays: {self.text('dialog')}")

    def test_1_every_view_shows_the_scenario(self):
        expected = {
            "overview": ["IPC-4711", "SN-0815-4711", "MSA18470001A2F3B", "running"],
            "sensors": ["CPU fan", "12V", "CB3065", "UPS0"],
            "drives": [
                "Samsung 970 EVO Plus 250 GB",
                "63\u00a0%",
                "3\u00a0%",
                "Seagate Constellation ES.3 1 TB",
                "tank",
            ],
            "network": ["em0", "192.168.10.20", "02:00:00:00:10:20"],
            "time": ["UTC"],
            "outputs": ["Us1"],
            "users": [realmachine.EDITOR, "editors"],
            "software": [],
            "runtime": ["5.8.15.47.1.1", "press.example"],
            "dictionary": ["0x8001", "Network settings", "0x1018"],
        }
        self.show("overview")
        for view, texts in expected.items():
            with self.subTest(view=view):
                self.go(view)
                for text in texts:
                    self.until_text(text, "body")
                if view not in ("overview", "sensors"):  # whose plots have nothing to show yet
                    self.screenshot(f"real-{view}")
        self.assertEqual(self.errors(), [])

    def test_2_a_value_that_changes_changes_on_the_page(self):
        self.show_fast("sensors")
        self.until_text("Case fan")
        self.machine.change_scenario("reading = 1180 | 1175 | 1190", "reading = 777")
        self.until_text("777\u00a0rpm")
        self.screenshot("real-sensors")
        self.go("overview")
        self.screenshot("real-overview")

    def test_3_without_signing_in_nothing_can_be_changed(self):
        self.show("network")
        self.until_text("192.168.10.20")
        self.assertIsNone(self.one("[data-action=edit]"))

    def test_4_an_address_reaches_rc_conf(self):
        self.show("network")
        self.sign_in()
        self.until(lambda: self.one("[data-action=edit]") is not None, "nothing can be changed")
        self.write("Change em0 Address", "192.168.10.27")
        self.until(lambda: "192.168.10.27" in Path("/etc/rc.conf").read_text(), "not in /etc/rc.conf")
        self.until_text("192.168.10.27")

    def test_5_the_name_of_the_machine_is_changed(self):
        self.show("overview")
        self.sign_in()
        self.write("Change Name", "press-7")
        self.until_text("press-7", "#name")
        self.assertEqual(os.uname().nodename, "press-7")

    def test_6_a_service_that_restarts_is_told_and_comes_back(self):
        self.show("sensors")
        self.until_text("Case fan")
        self.machine.stop_service()
        self.until_text("does not answer", "#banner")
        self.machine.start_service()
        self.until(lambda: self.text("#banner") == "", "the page does not come back")
        self.until_text("Case fan")


if __name__ == "__main__":
    sys.argv[1:1] = ["-v"]
    unittest.main()
