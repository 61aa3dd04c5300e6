# Reminders under a real notification daemon: the page asks for them, the agent shows them whatever else has ended, and a click
# on one brings the program back.

import json
import os
import pathlib
import signal
import time

from gi.repository import Gio

import desk
from desk import DEADLINE, until
from journey import PROGRAM, SESSION, Journey, ask_bus
from logind import Login

WEST = time.gmtime().tm_hour - 12  # hours: there it is noon, and today does not end during a test
# It comes when its minute begins.
NOW, IN_AN_HOUR, TOMORROW = "Date.now() + 1000", "Date.now() + 36e5", "Date.now() + 864e5"


class Reminders(Journey):
    def setUp(self):
        super().setUp()
        self.service.show("/", "<title>Own page</title>")
        Login()
        os.environ["TZ"] = f"TEA{WEST}"
        self.badges = []
        SESSION.signal_subscribe(None, "com.canonical.Unity.LauncherEntry", "Update", None, None,
                                 Gio.DBusSignalFlags.NONE, lambda *told: self.badges.append(told[-1].unpack()))

    # One whose notifications stay until they are clicked.
    def start_daemon(self):
        rules = self.folder / "dunstrc"
        rules.write_text("[urgency_normal]\ntimeout = 0\n")
        self.begin("dunst", "-config", rules)
        until("the daemon", lambda: ask_bus("NameHasOwner", "(s)", "org.freedesktop.Notifications"))

    # Clicks the one that comes.
    def open_notification(self):
        window = until("a notification", lambda: desk.windows("--class", "^dunst$"))[0]
        box = desk.box(window)
        desk.click(box.x + 30, box.y + 15, button=2)
        until("the notifications", lambda: desk.windows("--class", "^dunst$"), [])

    # One reminder at each, which is a script; returns how many are kept and how many were dropped.
    def sync(self, *moments):
        items = ", ".join(f"{{id: {number}, title: 'Tea', at: {at}}}" for number, at in enumerate(moments))
        answer = self.page.ask(f"return await BriskoNative.syncReminders({{items: [{items}]}})")
        return answer["scheduled"], answer["cleared"]

    # The processes of the agents, by their names on the bus.
    def agents(self):
        return {name: ask_bus("GetConnectionUnixProcessID", "(s)", name)
                for name in ask_bus("ListNames") if name.endswith(".Reminders")}

    def see_badge(self, count):
        until("the badge", lambda: [told for _, told in self.badges[-1:]], [{"count": count, "count-visible": count > 0}])

    def test_the_person_is_asked_and_a_click_on_a_reminder_brings_the_window_back(self):
        self.open_page()
        page, program = self.page, self.program
        self.assertEqual(page.ask("return await BriskoNative.requestNotifications()"), {"status": "denied"})
        self.start_daemon()
        for key, answer, status in (("Escape", "denied", "prompt"), ("Return", "granted", "granted")):
            page.ask("window.answer = null; BriskoNative.requestNotifications().then((given) => window.answer = given)")
            program.see("“brisko” would like to send you notifications", "label")
            program.see_focus("Allow")
            page.see("window.answer", None)
            desk.press(key)
            page.see("window.answer", {"status": answer})
            self.assertEqual(page.ask("return await BriskoNative.notificationStatus()"), {"status": status})
        desk.press("ctrl+w")
        program.see_no_window()
        self.assertEqual(self.sync(NOW), (1, 0))
        self.see_badge(1)
        self.open_notification()
        program.see_window()

    def test_a_reminder_comes_while_the_program_is_closed_and_whatever_has_been_killed(self):
        (folder := self.folder / "profile" / "state" / "reminders").mkdir(parents=True)
        (folder / "permission.json").write_text('{"notifications": "allowed"}')
        self.start_daemon()
        self.open_page()
        self.assertEqual(self.sync(IN_AN_HOUR, TOMORROW), (2, 0))
        self.see_badge(1)
        (name, killed), = self.agents().items()
        os.kill(killed, signal.SIGKILL)
        until("another agent", lambda: self.agents().get(name, killed) != killed)
        self.assertEqual(self.program.quit(), 0)
        self.see_badge(0)

        # The machine goes down, and is on again ten minutes after tea time.
        os.kill(self.agents()[name], signal.SIGKILL)
        until("the agents", self.agents, {})
        kept = json.loads((folder / "pending.json").read_text())
        kept["reminders"][0] |= {"at": time.gmtime(time.time() - 3600 * WEST - 600)[:5], "added": 0}
        (folder / "pending.json").write_text(json.dumps(kept))
        application = name.removesuffix(".Reminders")
        agent = self.begin(pathlib.Path(PROGRAM).with_name("brisko-reminders"), "--if-pending", "--state", folder,
                           "--application-id", application)
        with self.page.renewed():
            self.open_notification()
        self.assertEqual(self.sync(), (0, 1))
        self.assertEqual(agent.wait(DEADLINE), 0)
        desk.press("ctrl+q")
        until("the program's being there", lambda: ask_bus("NameHasOwner", "(s)", application), False)

    def test_each_profile_has_reminders_of_its_own(self):
        for profile in ("one", "other"):
            self.open_page(profile=profile)
            self.assertEqual(self.sync(IN_AN_HOUR), (1, 0))
        until("the number of agents", lambda: len(self.agents()), 2)
        until("the number of badges", lambda: len({entry for entry, _ in self.badges}), 2)
        self.assertEqual(self.sync(), (0, 1))
        until("the number of agents", lambda: len(self.agents()), 1)
        self.assertIn("Tea", (self.folder / "one" / "state" / "reminders" / "pending.json").read_text())
