"""The web application in a real window: its links, panels, files, colours and bad days, with real keys and clicks."""

import contextlib
import csv
import http.server
import json
import os
import signal
import threading
import unittest
import urllib.parse

from PIL import ImageGrab

from desktop import Journey, ScriptedService, press, until, xdotool
from journeys import IDENTIFIER, USER, declines_passcode, see_page, signs_in

DARK, LIGHT = (0x0f, 0x11, 0x15), (0xf7, 0xf7, 0xfa)  # of the demo page's themes
BESIDE_DIALOG = (0x07, 0x08, 0x0a)  # of the dark theme
BUTTON = (0x80, 0x74, 0xff)  # of the offline page

# Places in the demo page, from the middle of the window's lower edge, when its settings are scrolled to their end.
EXPORT, IMPORT, SIGN_OUT, GUIDES = (69, -286), (189, -215), (204, -116), (-236, -55)


class Pages(ScriptedService):
    """Signs everybody in and shows pages of the test's own, by their names. They say what happens to them."""

    def __init__(self, folder, **pages):
        self.pages = pages
        self.said = []
        self.released = threading.Event()  # what a download waits for in its middle
        super().__init__(folder)

    def handler(service):  # noqa: N805
        class Handler(super().handler()):
            def answer(self, status, *parts, headers=()):
                self.send_response(status)
                for name, value in (*headers, ("Content-Length", sum(map(len, parts)))):
                    self.send_header(name, str(value))
                self.end_headers()
                with contextlib.suppress(OSError):  # whoever asked may have gone
                    for number, part in enumerate(parts):
                        if number:
                            service.released.wait()
                        self.wfile.write(part)
                        self.wfile.flush()

            def do_POST(self):
                self.rfile.read(int(self.headers["Content-Length"]))
                self.answer(200, b"{}", headers=[("Set-Cookie", "brisko_session=x; Path=/; Secure; Max-Age=9999")])

            def do_GET(self):
                path, _, query = self.path.partition("?")
                name = path[1:] or "home"
                if name == "said":
                    service.said.append(urllib.parse.unquote(query))
                    self.answer(204)
                elif name == "slow.csv":
                    self.answer(200, b"one\n" * 10_000, b"two\n", headers=[("Content-Type", "text/csv")])
                elif name in service.pages:
                    said = f"const say = (what) => fetch('/said?' + encodeURIComponent(what)); say('{name}');"
                    page = f"<!doctype html><script>{said}</script><body>{service.pages[name]}"
                    self.answer(200, page.encode(), headers=[("Content-Type", "text/html")])
                else:
                    self.answer(404)

        return Handler

    def stop(self):
        self.released.set()
        self.go_away()

    def go_away(self):
        if self.thread.is_alive():
            super().stop()

    def come_back(self):
        """Under the same address and with the same certificate."""
        context = self.server.socket.context
        self.server = http.server.ThreadingHTTPServer(self.server.server_address, self.handler())
        self.server.socket = context.wrap_socket(self.server.socket, server_side=True)
        self.thread = threading.Thread(target=self.server.serve_forever, daemon=True)
        self.thread.start()

    def see(self, *said):
        """Waits for what the pages have said since the last time."""
        until(f"{said} said", lambda: self.said == list(said))
        self.said.clear()


class WebJourney(Journey):
    def open_page(self, service):
        self.service = service
        self.downloads = self.folder / "Downloads"
        self.program = self.open_program(service, environment={**self.install_browser(), "HOME": str(self.folder)})
        signs_in(self.program)
        declines_passcode(self.program)
        see_page(self.program)

    def see_gone(self, name):
        until(f"no '{name}'", lambda: not self.program.shows(name))

    def see_visited(self, *addresses):
        until(f"{addresses} in the browser",
              lambda: self.visited.exists() and self.visited.read_text().split() == list(addresses))

    def see_active(self, title):
        """Waits for a window or a panel of that title to have the keyboard."""
        until(f"'{title}' in front", lambda: xdotool("getactivewindow", "getwindowname").strip() == title)

    def choose(self, item):
        """An item of the menu that is about to open, with the keyboard, which the page then has back."""

        def focused():
            return next((e.name for e in self.program.elements() if e.role == "menu item" and "focused" in e.states), None)

        while (name := until("an item with the keyboard", focused)) != item:
            press("Down")
            until(f"the item after '{name}'", lambda: focused() not in (None, name))
        press("Return")
        self.see_gone(item)

    # The window's pixels.

    def window(self):
        """Its corner on the screen and its size."""
        words = xdotool("getactivewindow", "getwindowgeometry", "--shell").split()
        values = dict(word.split("=") for word in words)
        return [int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT")]

    def point(self, right, down):
        """A place from the window's corner, from the far one when it is negative, on the screen."""
        x, y, width, height = self.window()
        return x + right % width, y + down % height

    def color(self, right, down):
        x, y = self.point(right, down)
        return ImageGrab.grab((x, y, x + 1, y + 1)).getpixel((0, 0))

    def see_offline_page(self):
        def button():
            x, y, width, height = self.window()
            return BUTTON in ImageGrab.grab((x, y, x + width, y + height)).getdata()

        until("the offline page", button)


class DemoPage(WebJourney):
    def setUp(self):
        super().setUp()
        self.open_page(self.run_service())

    def open_settings(self):
        def opened():
            press("ctrl+comma")  # the page hears its keys once it has loaded
            return self.color(-20, -20) == BESIDE_DIALOG

        until("the settings", opened)

    def scroll_settings(self):
        """To their end, until they stand still."""
        x, y, width, height = self.window()
        xdotool("mousemove", str(x + width // 2), str(y + height // 2), "click", "--repeat", "30", "--delay", "5", "5")
        seen = []

        def still():
            seen.append(ImageGrab.grab((x, y, x + width, y + height)).tobytes())
            return len(seen) > 3 and len(set(seen[-3:])) == 1

        until("settings that stand still", still)

    def click_setting(self, place):
        self.scroll_settings()  # a message may have moved them
        right, up = place
        xdotool("mousemove", *map(str, self.point(590 + right, up)), "click", "1")

    def test_tasks_are_saved_twice_and_come_in_from_files(self):
        self.open_settings()

        def exported(name):
            self.click_setting(EXPORT)
            file = self.downloads / name
            until(name, file.exists)
            with open(file, encoding="utf-8-sig", newline="") as table:
                return [row["Title"] for row in csv.DictReader(table)]

        tasks = sorted(self.service.tasks(USER))
        for name in ("brisko tasks.csv", "brisko tasks 2.csv"):
            self.assertEqual(sorted(exported(name)), tasks)

        def choose(name, *titles):
            (self.folder / name).write_text("\n".join(["Title", *titles]))
            self.click_setting(IMPORT)
            self.see_active("Choose files")
            self.program.see("Suitable files")
            press("ctrl+l")
            xdotool("type", str(self.folder / name))
            until("the typed path", lambda: any(e.role == "text" and e.text == str(self.folder / name)
                                                for e in self.program.elements()))
            press("Return")
            self.see_active("brisko")

        choose("three.csv", "first", "second", "third")
        until("the tasks", lambda: {"first", "second", "third"} <= set(self.service.tasks(USER)))
        many = [f"number {n}" for n in range(101)]
        for answer, expected in (("Escape", 0), ("Return", 101)):
            choose("many.csv", *many)
            self.program.see("Import 101 tasks?", "label")
            self.program.see_focus("OK")
            press(answer)
            self.see_gone("Import 101 tasks?")
            until("the tasks", lambda: sum(t in many for t in self.service.tasks(USER)) == expected)
        choose("empty.csv")
        self.program.see("“empty.csv” holds no tasks.", "label")
        press("Return")
        self.click_setting(GUIDES)
        self.see_visited(self.service.origin + "/guides")

    def test_the_end_of_the_session_leads_to_the_sign_in_screen(self):
        self.open_settings()
        self.click_setting(SIGN_OUT)
        self.program.see_text(IDENTIFIER, USER)
        self.assertEqual(self.service.sessions(), [])
        signs_in(self.program, remembered=True)
        declines_passcode(self.program)
        see_page(self.program)
        self.service.post("/api/auth/logout", cookie=self.cookie())
        press("ctrl+r")
        self.program.see_text(IDENTIFIER, USER)

    def test_the_window_takes_the_colour_of_the_page(self):
        header = (590, 20)
        until("a dark header", lambda: self.color(*header) == DARK)
        self.service.change_settings({"theme": "light"}, cookie=self.cookie())
        press("ctrl+r")
        until("a light window", lambda: self.color(*header) == self.color(-20, -20) == LIGHT)


class OwnPages(WebJourney):
    def open_pages(self, **pages):
        self.open_page(self.run_service(Pages, **pages))
        self.service.see("home")

    def run_service(self, kind, **options):
        service = kind(self.folder, **options)
        self.addCleanup(service.stop)
        return service

    def test_links_stay_inside_or_go_to_the_browser(self):
        link = "<a onfocus='say(this.id)' "
        self.open_pages(home=f"""<title>{'A long title ' * 500}</title>
            {link} id=other href='https://other.example/x?y#z'>1</a> {link} id=window target=_blank href=/inside>2</a>
            {link} id=script href='javascript:open("/inside", "", "width=200"), close()'>3</a>
            {link} id=inside href=/inside style='position: fixed; inset: 100px'>4</a><script>onpageshow = (e) => e.persisted && say('home')</script>""",
                        inside="<script>onpageshow = (e) => e.persisted && say('inside')</script>")
        inside = self.service.origin + "/inside"
        visited = []
        for name, address in (("other", "https://other.example/x?y#z"), ("window", inside), ("script", inside)):
            press("Tab")
            self.service.see(name)
            press("Return")
            visited.append(address)
            self.see_visited(*visited)
        press("Tab")
        self.service.see("inside")
        xdotool("mousemove", *map(str, self.point(590, 400)), "click", "3")
        self.choose("Open Link in Browser")
        self.see_visited(*visited, inside)
        press("Return")
        self.service.see("inside")
        for keys, page in (("XF86Back", "home"), ("XF86Forward", "inside")):
            press(keys)
            self.service.see(page)
        for button, page in (("8", "home"), ("9", "inside")):
            xdotool("mousemove", *map(str, self.point(590, 400)), "click", button)
            self.service.see(page)
        self.program.see_window("brisko")

    def test_the_service_goes_away_and_comes_back(self):
        self.open_pages(home="<a href=/inside onfocus=say('link')>1</a>"
                             "<script>onpageshow = (e) => e.persisted && say('home')</script>", inside="")
        for keys in (("Tab", "Return"), ("ctrl+r",)):
            self.service.go_away()
            press("ctrl+r")
            self.see_offline_page()
            self.service.come_back()
            press(*keys)
            self.service.see("home")
        press("Tab")
        self.service.see("link")
        self.service.go_away()
        press("Return")
        self.see_offline_page()
        press("ctrl+r")
        self.see_offline_page()
        self.service.come_back()
        press("XF86Back")
        self.service.see("home")
        press("XF86Forward")  # tries again what could not be reached
        self.service.see("inside")

    def test_the_keyboard_stays_with_the_page(self):
        self.open_pages(home="<button onfocus=say(this.id) id=one>1</button><button onfocus=say(this.id) id=two>2</button>")
        press("ctrl+shift+i", "ctrl+shift+d", "F12", "F10", "Escape")  # no inspector of any kind
        press("Tab")
        self.service.see("one")
        press("shift+Tab")  # out of the page, where there is nothing
        press("Tab")
        self.service.see("one")
        press("Tab")
        self.service.see("two")

    def test_what_is_half_there_has_no_name_yet(self):
        self.open_pages(home="<a download href=/slow.csv>1</a>")

        def files():
            return {file.name for file in self.downloads.iterdir()} if self.downloads.exists() else set()

        def begun():
            return sum(name.endswith(".part") for name in files())

        press("Tab")
        for count in (1, 2):
            press("Return")
            until("the beginning", lambda: begun() == count)
        names = {"slow.csv", "slow 2.csv"}
        self.assertEqual(files() & names, set())
        self.service.released.set()
        until("two files", lambda: files() == names)
        for name in names:
            self.assertEqual((self.downloads / name).read_text(), "one\n" * 10_000 + "two\n")

    def test_a_folder_that_cannot_be_used_is_told(self):
        (self.folder / "Downloads").write_text("not a folder")
        self.open_pages(home="<a download href=/slow.csv>1</a><button onfocus=say('two')>2</button>")
        press("Tab", "Return")
        self.program.see("The download did not finish", "label")
        press("Return")
        self.see_gone("The download did not finish")
        press("Tab")
        self.service.see("two")

    def test_questions_are_answered_with_the_keyboard(self):
        self.open_pages(home="<button onclick=\"say(confirm('Sure?'))\">1</button>"
                             "<button onclick=\"alert('Told.'); say('told')\">2</button>"
                             "<button onclick=\"confirm('Really?')\">3</button>")
        press("Tab")
        for key, answer in (("Return", "true"), ("Escape", "false")):
            press("Return")
            self.program.see("Sure?", "label")
            press(key)
            self.service.see(answer)
        press("Tab", "Tab", "Return")
        self.program.see("Really?", "label")
        self.program.again("brisko://today")
        self.see_gone("Really?")
        self.service.see("home")
        press("Tab", "Tab", "Return")
        self.program.see("Told.", "label")
        press("Return")
        self.service.see("told")

    def test_a_page_that_never_stops_asking_can_be_left(self):
        self.open_pages(home="<button onclick=\"for (;;) alert('Again')\">1</button>")
        press("Tab", "Return")
        self.program.see("Again", "label")
        self.program.again("brisko://today")
        self.service.see("home")
        self.see_gone("Again")
        press("Tab", "Return")
        self.program.see("Again", "label")
        press("ctrl+q")
        self.assertEqual(self.program.exit_status(), 0)

    def test_the_death_of_its_processes_is_survived(self):
        self.open_pages(home="<body onkeydown=say(event.key)>")
        for name, said in (("WebKitWebProces", ["home"]), ("WebKitNetworkPr", [])):
            for process, its_name in self.program.engine().items():
                if its_name == name:
                    os.kill(process, signal.SIGKILL)
            if said:
                self.service.see(*said)

            def heard():
                press("x")
                return "x" in self.service.said

            until("the page to hear its keys", heard)
            self.assertEqual(set(self.service.said), {"x"})
            self.service.said.clear()


if __name__ == "__main__":
    unittest.main(verbosity=2)
