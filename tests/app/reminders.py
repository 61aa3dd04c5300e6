"""Reminders under a real notification daemon: the page asks for them, the agent shows them whatever else has ended, and a click
on one brings the program back."""

import json
import os
import pathlib
import signal
import subprocess
import time
import unittest

from gi.repository import Gio

from desk import DEADLINE, desk, until, until_equal
from journey import PROGRAM, Journey
from logind import Login

WEST = time.gmtime().tm_hour - 12  # hours: there it is noon, and today does not end during a test
NOW, IN_AN_HOUR, TOMORROW = "Date.now() + 1000", "Date.now() + 36e5", "Date.now() + 864e5"  # it comes when its minute begins


class Reminders(Journey):
    def setUp(self):
        super().setUp()
        self.service.show("/", "<title>Own page</title>")
        self.desktop = Login()
        self.addCleanup(self.desktop.bus.close_sync)
        self.environment = {**self.desktop.environment, "TZ": f"TEA{WEST}"}
        self.badges = []
        self.desktop.bus.signal_subscribe(None, "com.canonical.Unity.LauncherEntry", "Update", None, None,
                                          Gio.DBusSignalFlags.NONE, lambda *told: self.badges.append(told[-1].unpack()))

    def start(self, profile="profile", **options):
        program = self.open_program(profile=profile, environment=self.environment, **options)
        self.service.page.see_ready()
        return program

    def start_daemon(self):
        """One whose notifications stay until they are clicked."""
        rules = self.folder / "dunstrc"
        rules.write_text("[urgency_normal]\ntimeout = 0\n")
        daemon = subprocess.Popen(["dunst", "-config", rules], stderr=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        self.addCleanup(daemon.wait, DEADLINE)
        self.addCleanup(daemon.terminate)
        until("the daemon", lambda: self.desktop.ask_bus("NameHasOwner", "(s)", "org.freedesktop.Notifications"))

    def open_notification(self):
        """Clicks the one that comes."""
        window = until("a notification", desk.notifications)[0]
        box = desk.box(window)
        desk.click(box.x + 30, box.y + 15, button=2)
        until("no notification", lambda: not desk.notifications())

    def sync(self, *moments):
        """One reminder at each, which is a script."""
        items = ", ".join(f"{{id: {number}, title: 'Tea', at: {at}}}" for number, at in enumerate(moments))
        return self.service.page.ask(f"return await BriskoNative.syncReminders({{items: [{items}]}})")

    def agents(self):
        """The processes of the agents, by their names on the bus."""
        names = [name for name in self.desktop.ask_bus("ListNames") if name.endswith(".Reminders")]
        return {name: self.desktop.ask_bus("GetConnectionUnixProcessID", "(s)", name) for name in names}

    def see_badge(self, count):
        until_equal("the badge", lambda: self.badges[-1:],
                    [("application://app.brisko.Brisko.desktop", {"count": count, "count-visible": count > 0})])

    def test_the_person_is_asked_and_a_click_on_a_reminder_brings_the_window_back(self):
        program = self.start(signed_in=True)
        ask = self.service.page.ask
        self.assertEqual(ask("return await BriskoNative.requestNotifications()"), {"status": "denied"}, "none shows them")
        self.start_daemon()
        for key, answer, status in (("Escape", "denied", "prompt"), ("Return", "granted", "granted")):
            ask("window.answer = null; BriskoNative.requestNotifications().then((given) => window.answer = given)")
            program.see("“brisko” would like to send you notifications", "label")
            program.see_focus("Allow")
            self.assertIsNone(ask("return window.answer"))
            desk.press(key)
            self.service.page.see("window.answer", {"status": answer})
            self.assertEqual(ask("return await BriskoNative.notificationStatus()"), {"status": status})

        desk.press("ctrl+w")
        program.see_no_window()
        self.assertEqual(self.sync(NOW), {"scheduled": 1, "cleared": 0})
        self.see_badge(1)
        self.open_notification()
        program.see_window()

    def test_a_reminder_comes_while_the_program_is_closed_and_whatever_has_been_killed(self):
        (folder := self.folder / "profile" / "state" / "reminders").mkdir(parents=True)
        (folder / "permission.json").write_text('{"notifications": "allowed"}')
        self.start_daemon()
        program = self.start(signed_in=True)
        self.assertEqual(self.sync(IN_AN_HOUR, TOMORROW), {"scheduled": 2, "cleared": 0})
        self.see_badge(1)
        (name, killed), = self.agents().items()
        os.kill(killed, signal.SIGKILL)
        until("another agent", lambda: self.agents().get(name, killed) != killed)
        desk.press("ctrl+q")
        self.assertEqual(program.exit_status(), 0)
        self.see_badge(0)

        # The machine goes down, and is on again ten minutes after tea time.
        os.kill(self.agents()[name], signal.SIGKILL)
        until_equal("the agents", self.agents, {})
        kept = json.loads((folder / "pending.json").read_text())
        kept["reminders"][0] |= {"at": time.gmtime(time.time() - 3600 * WEST - 600)[:5], "added": 0}
        (folder / "pending.json").write_text(json.dumps(kept))
        program = name.removesuffix(".Reminders")
        agent = subprocess.Popen([pathlib.Path(PROGRAM).with_name("brisko-reminders"), "--if-pending", "--state", folder,
                                  "--application-id", program], env={**os.environ, **self.environment})
        self.addCleanup(agent.wait, DEADLINE)
        self.addCleanup(agent.kill)
        shown = len(self.service.page.shown)
        self.open_notification()
        self.service.page.see_another(shown)
        self.assertEqual(self.sync(), {"scheduled": 0, "cleared": 1})
        self.assertEqual(agent.wait(DEADLINE), 0)
        desk.press("ctrl+q")
        until_equal("the program's being there", lambda: self.desktop.ask_bus("NameHasOwner", "(s)", program), False)

    def test_each_profile_has_reminders_of_its_own(self):
        for profile in ("one", "other"):
            self.start(profile, signed_in=True)
            self.assertEqual(self.sync(IN_AN_HOUR), {"scheduled": 1, "cleared": 0})
        until_equal("the number of agents", lambda: len(self.agents()), 2)
        self.assertEqual(self.sync(), {"scheduled": 0, "cleared": 1})
        until_equal("the number of agents", lambda: len(self.agents()), 1)
        self.assertIn("Tea", (self.folder / "one" / "state" / "reminders" / "pending.json").read_text())


if __name__ == "__main__":
    unittest.main(verbosity=2)
