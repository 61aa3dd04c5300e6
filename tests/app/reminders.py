"""What the page asks of the desktop: reminders under a real notification daemon, and the lock."""

import json
import os
import pathlib
import signal
import subprocess
import threading
import time
import unittest

from gi.repository import Gio, GLib
from PIL import ImageGrab

from desktop import DEADLINE, Journey, Program, press, until, xdotool
from journeys import IDENTIFIER, USER, declines_passcode, see_page, signs_in, write_task
from web import Pages

QUESTION = "“brisko” would like to send you notifications"
PANEL = "Lock & Passcode"
ALLOW_REMINDERS = 9  # keys from the top of the demo page's settings
SIGN_OUT = 5  # keys back from there, around their end
MINUTE = 60  # a reminder has no seconds


class Remote(Pages):
    """A page that runs what the test tells it to."""

    def __init__(self, folder):
        self.scripts = []
        self.turn = 0
        self.news = threading.Condition()
        super().__init__(folder, home="""<script>(async () => { for (;;) {
            const script = await (await fetch('/next')).text();
            try { say(JSON.stringify(await eval('(async () => {' + script + '})()') ?? null)) }
            catch (error) { say(JSON.stringify(error.message)) }
        } })()</script>""")

    def handler(service):  # noqa: N805
        class Handler(super().handler()):
            def do_GET(self):
                if self.path != "/next":
                    super().do_GET()
                    return
                try:
                    self.answer(200, service.next().encode())
                except OSError:
                    pass  # its page has gone

        return Handler

    def next(self):
        """The next script; an empty one for a page that another one has come after."""
        with self.news:
            turn = self.end_turn()
            self.news.wait_for(lambda: self.scripts or turn != self.turn or self.released.is_set())
            return self.scripts.pop() if turn == self.turn and self.scripts else ""

    def end_turn(self):
        """The page that waits for a script gets none."""
        with self.news:
            self.turn += 1
            self.news.notify_all()
            return self.turn

    def ask(self, script):
        self.said.clear()
        with self.news:
            self.scripts.append(script)
            self.news.notify_all()
        until(f"an answer to {script}", lambda: [said for said in self.said if said != "home"])
        return json.loads(self.said[-1])

    def call(self, name, options=None):
        return self.ask(f"return await BriskoNative.{name}({json.dumps(options)})")

    def begin(self, name):
        """Calls without waiting; `outcome` tells what came of it."""
        self.ask(f"window.outcome = null; BriskoNative.{name}().then((value) => window.outcome = value)")

    def outcome(self):
        return self.ask("return window.outcome")

    def stop(self):
        with self.news:
            self.released.set()
            self.news.notify_all()
        super().stop()


class Reopened(Program):
    """The program as somebody else has started it."""

    class Process:
        def __init__(self, pid):
            self.pid = pid

        def poll(self):
            return None if pathlib.Path(f"/proc/{self.pid}").exists() else 0

        def terminate(self):
            os.kill(self.pid, signal.SIGTERM)

        def wait(self, deadline):
            until("its end", lambda: self.poll() is not None, deadline)

    def __init__(self, pid):
        self.process = self.Process(pid)

    def complaints(self):
        return []  # they are on nobody's terminal


class Reminders(Journey):
    def setUp(self):
        super().setUp()
        # A desktop without polkit, whatever this machine has.
        self.environment = {"DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent"}
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self.addCleanup(self.end_agents)
        self.badge = None
        watch = self.bus.signal_subscribe(None, "com.canonical.Unity.LauncherEntry", "Update", None, None,
                                          Gio.DBusSignalFlags.NONE, self.hear_badge)
        self.addCleanup(self.bus.signal_unsubscribe, watch)

    # The desktop.

    def hear_badge(self, _bus, _sender, _path, _interface, _signal, parameters):
        uri, properties = parameters.unpack()
        self.assertEqual(uri, "application://app.brisko.Brisko.desktop")
        if "count" in properties:
            self.badge = (properties["count"], properties["count-visible"])

    def see_badge(self, count):
        def shown():
            while GLib.MainContext.default().iteration(False):
                pass
            return self.badge == (count, count > 0)

        until(f"the badge {count}", shown)

    def ask_bus(self, method, *arguments):
        signature = GLib.Variant("(" + "s" * len(arguments) + ")", arguments)
        return self.bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
                                  signature, None, Gio.DBusCallFlags.NONE, -1, None).unpack()[0]

    def agents(self):
        """The processes of the agents, by their names on the bus."""
        names = [name for name in self.ask_bus("ListNames") if name.endswith(".Reminders")]
        return {name: self.ask_bus("GetConnectionUnixProcessID", name) for name in names}

    def start_daemon(self):
        rules = self.folder / "dunstrc"
        rules.write_text("[global]\nmarkup = full\n[urgency_low]\ntimeout = 0\n[urgency_normal]\ntimeout = 0\n")
        daemon = subprocess.Popen(["dunst", "-config", rules], stderr=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        self.addCleanup(daemon.wait, DEADLINE)
        self.addCleanup(daemon.terminate)
        until("the notification daemon", lambda: self.ask_bus("NameHasOwner", "org.freedesktop.Notifications"))

    def notifications(self):
        search = ["xdotool", "search", "--onlyvisible", "--class", "dunst"]
        return subprocess.run(search, capture_output=True, text=True).stdout.split()

    def open_notification(self, deadline=DEADLINE):
        """Clicks the one that comes; returns its title and body, as the daemon has them."""
        window = until("a notification", self.notifications, deadline)[0]
        xdotool("mousemove", "--window", window, "30", "15", "click", "2")
        until("no notification", lambda: not self.notifications())
        seen = self.bus.call_sync("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                  "org.dunstproject.cmd0", "NotificationListHistory", None, None,
                                  Gio.DBusCallFlags.NONE, -1, None).unpack()[0]
        return [(one["summary"], one["body"]) for one in seen]

    # The program's files.

    def pending(self, profile="profile"):
        file = self.folder / profile / "state" / "reminders" / "pending.json"
        return json.loads(file.read_text()) if file.exists() else {"reminders": []}

    def allow(self, profile):
        folder = self.folder / profile / "state" / "reminders"
        folder.mkdir(parents=True, mode=0o700)
        (folder / "permission.json").write_text('{"notifications": "allowed"}')

    def titles(self, profile="profile"):
        return sorted(reminder["title"] for reminder in self.pending(profile)["reminders"])

    def due_today(self):
        return sum(reminder["at"][:3] == list(time.localtime()[:3]) for reminder in self.pending()["reminders"])

    def kill_agents(self):
        for process in self.agents().values():
            os.kill(process, signal.SIGKILL)

    def end_agents(self):
        """While there is no program that brings them back."""
        self.kill_agents()
        until("no agent", lambda: not self.agents())


class OwnPage(Reminders):
    def open_page(self):
        self.page = self.run_service(Remote)
        program = self.open_program(self.page, environment=self.environment)
        signs_in(program)
        declines_passcode(program)
        return program

    def item(self, number, seconds, title="Tea"):
        """It is due at the start of the first minute after that time."""
        minute = int(time.time() + seconds) // MINUTE + 1
        return {"id": number, "title": title, "at": minute * MINUTE * 1000, "body": "with Mary & <b>Jane</b>"}

    def test_the_page_asks_the_person_and_waits_for_the_panel(self):
        program = self.open_page()
        for name in ("notificationStatus", "requestNotifications"):
            self.assertEqual(self.page.call(name), {"status": "denied"}, "nothing shows notifications")
        self.assertFalse(program.shows(QUESTION))
        self.assertEqual(self.page.call("biometryAvailable"), {"available": False, "kind": "none"})
        self.assertEqual(self.page.call("setLockEnabled", {"enabled": True}), {"enabled": False})
        self.assertEqual(self.page.call("lockSummary"),
                         {"hasPasscode": False, "digits": 0, "autoLock": False, "minutes": 5})

        self.page.begin("openLockSettings")
        program.see(PANEL, "label")
        self.assertEqual((self.page.call("lockEnabled"), self.page.outcome()), ({"enabled": False}, None))
        program.see_focus("Done")
        press("Return")
        until("the end of the panel", lambda: self.page.outcome() == {"ok": True})

        self.start_daemon()
        for keys, answer, state in ((["Escape"], "denied", "prompt"), (["Return"], "granted", "granted")):
            self.page.begin("requestNotifications")
            program.see(QUESTION, "label")
            program.see_focus("Allow")
            self.assertIsNone(self.page.outcome())
            press(*keys)
            until("the answer", lambda: self.page.outcome() == {"status": answer})
            self.assertEqual(self.page.call("notificationStatus"), {"status": state})
        self.assertEqual(self.page.call("requestNotifications"), {"status": "granted"}, "not asked once more")

    def test_a_reminder_comes_whatever_has_ended_meanwhile_and_opens_the_program(self):
        self.allow("profile")
        self.start_daemon()
        program = self.open_page()
        items = [self.item(1, MINUTE), self.item(2, 90_000)]
        self.assertEqual(self.page.call("syncReminders", {"items": items}), {"scheduled": 2, "cleared": 0})
        self.see_badge(self.due_today())
        first = self.agents()
        self.kill_agents()
        until("the agent again", lambda: set(self.agents()) == set(first) and self.agents() != first)

        # Nobody is there when it is due: it comes when they are back.
        program.process.kill()
        program.process.wait(DEADLINE)
        self.page.end_turn()
        self.end_agents()
        kept = self.pending()
        kept["reminders"][0]["at"] = list(time.localtime(time.time() - 10 * MINUTE)[:5])
        kept["reminders"][0]["added"] -= 20 * MINUTE
        (self.folder / "profile" / "state" / "reminders" / "pending.json").write_text(json.dumps(kept))
        program = self.open_program(self.page, environment=self.environment)
        until("a notification", self.notifications)
        press("alt+F4")
        until("no window", lambda: not program.window_shown())
        self.assertEqual(self.open_notification(), [("Tea", "with Mary &amp; &lt;b&gt;Jane&lt;/b&gt;")])
        program.see_window()

        # The minute comes while the program is closed.
        self.page.call("syncReminders", {"items": [self.item(1, 10, "Cake")]})
        self.see_badge(self.due_today())
        press("ctrl+q")
        self.assertEqual(program.exit_status(), 0)
        self.page.end_turn()
        self.see_badge(0)
        self.assertEqual(self.open_notification(2 * MINUTE)[0][0], "Cake")
        name = list(first)[0].removesuffix(".Reminders")
        pid = until("the program", lambda: self.ask_bus("GetConnectionUnixProcessID", name))
        program = Reopened(pid)
        self.addCleanup(program.stop)
        program.see_window()
        self.assertEqual(self.page.call("syncReminders", {"items": [self.item(3, MINUTE)]}),
                         {"scheduled": 1, "cleared": 0})
        self.see_badge(self.due_today())
        self.page.call("syncReminders")
        self.see_badge(0)
        until("no agent", lambda: not self.agents())


class DemoPage(Reminders):
    def open_page(self, profile, expected):
        program = self.open_program(self.service, environment=self.environment, profile=profile)
        signs_in(program)
        declines_passcode(program)
        see_page(program)
        if expected:
            until("the reminders", lambda: self.titles(profile) == expected)
        return program

    def timed(self):
        """The titles of the tasks that have a time which is still to come."""
        account = next(account for account in self.service.kept()["accounts"] if account["username"] == USER)
        now = time.strftime("%Y-%m-%dT%H:%M")
        return sorted(task["title"] for task in account["tasks"]["tasks"]
                      if task["status"] != "done" and task["dueTime"] and f"{task['dueDate']}T{task['dueTime']}" > now)

    def settings(self, program, *keys):
        """Opens them and presses the keys once everything is there."""
        program.see_window()
        seen = [ImageGrab.grab().tobytes()]
        press("ctrl+comma")
        until("the settings", lambda: ImageGrab.grab().tobytes() != seen[0])
        until("settings that stand still",
              lambda: seen.append(ImageGrab.grab().tobytes()) or len(seen) > 6 and len(set(seen[-5:])) == 1)
        press(*keys)

    def test_each_profile_has_the_reminders_of_its_own_page_until_it_signs_out(self):
        self.start_daemon()
        self.service = self.run_service()
        first = self.open_page("profile", None)
        write_task(self.service, first, "The page is there")
        self.settings(first, *["Tab"] * ALLOW_REMINDERS, "space")
        first.see(QUESTION, "label")
        self.assertEqual(self.titles(), [])
        press("Return")
        until("the reminders", lambda: self.titles() == self.timed())
        self.see_badge(self.due_today())

        self.allow("other")
        second = self.open_page("other", self.timed())
        self.assertEqual(len(self.agents()), 2)
        self.settings(second, *["shift+Tab"] * SIGN_OUT, "space")
        second.see_text(IDENTIFIER, USER)
        until("one agent", lambda: len(self.agents()) == 1)
        self.assertEqual((self.titles("other"), self.titles()), ([], self.timed()))
        self.see_badge(0)


if __name__ == "__main__":
    unittest.main(verbosity=2)
