# The web application in a real window: its links, panels, files, colours and bad days, with real keys and clicks.

import os
import pathlib
import signal

import desk
from desk import until
from journey import USER, Journey

DARK, LIGHT = (0x0f, 0x11, 0x15), (0xf7, 0xf7, 0xfa)  # of the demo page's themes
BUTTON = (0x80, 0x74, 0xff)  # of the offline page


class Pages(Journey):
    # Shows that page of the test's own.
    def open(self, home):
        self.service.show("/", home)
        self.open_page()

    # Goes to the page's control of which that is true and presses it.
    def press(self, condition):
        self.page.ask(f"[...document.querySelectorAll('a, button, label')].find((one) => {condition}).focus()")
        desk.press("Return")

    def see_colors(self, expected):
        x, y, width, height = desk.box(self.window)
        until("the colours of header and page", lambda: desk.colors(x + width // 2, y + 20) | desk.colors(
            x + width - 20, y + height - 20), {expected})

    def test_the_page_gives_the_window_its_colour_saves_and_takes_files_and_ends_with_the_sign_out(self):
        # While the toolkit's file dialog gathers the recent files it forgets what it was told to open.
        (settings := pathlib.Path(os.environ["XDG_CONFIG_HOME"], "gtk-4.0")).mkdir(parents=True)
        (settings / "settings.ini").write_text("[Settings]\ngtk-recent-files-enabled=0\n")
        self.open_page()
        self.see_colors(DARK)
        self.service.send("PATCH", "/api/settings", {"theme": "light"})
        with self.page.renewed():
            desk.press("ctrl+r")
        self.see_colors(LIGHT)
        desk.press("ctrl+comma")
        self.page.see("document.querySelector('dialog')?.getAttribute('aria-label')", "Settings")
        self.press("one.textContent.trim() === 'Export CSV'")
        saved = pathlib.Path.home() / "Downloads" / "brisko tasks.csv"
        until("the file", lambda: saved.exists() and all(task in saved.read_text() for task in self.service.tasks(USER)))
        (file := self.folder / "tasks.csv").write_text("Title\nfirst\nsecond")
        self.press("one.textContent.trim() === 'Import CSV…'")
        self.program.see_window("Choose files")
        # On the way to its folder the dialog ends what it was told to open.
        self.program.see(self.folder.name, "label")
        desk.press("ctrl+l")
        self.program.see_focus("GtkFileChooserEntry")
        desk.type(file)
        self.program.see_text("GtkFileChooserEntry", str(file))
        desk.press("Return")
        until("the imported tasks", lambda: {"first", "second"} <= {*self.service.tasks(USER)})
        self.program.see_window()
        self.press("one.textContent.trim() === 'Sign out'")
        self.program.see_focus("Password")
        self.assertEqual(self.service.sessions(), [])

    def test_links_stay_inside_or_go_to_the_browser(self):
        self.service.show("/inside", "")
        self.install_browser()
        self.open("""<a id=other href='https://other.example/x?y#z'>1</a> <a id=window target=_blank href=/inside>2</a>
            <a id=mail href='mailto:ann@x.example'>3</a> <a id=phone href='tel:7'>4</a> <a id=own href='brisko://today'>5</a>
            <a id=inside href=/inside style='position: fixed; inset: 100px'>6</a>""")
        self.press("one.id === 'phone'")
        self.program.see("No program on this machine opens tel: links.", "label")
        self.program.see_focus("OK")
        desk.press("Return")
        self.page.see_ready()
        with self.page.renewed():
            self.press("one.id === 'own'")
        visits = ["https://other.example/x?y#z", "mailto:ann@x.example", *[self.service.origin + "/inside"] * 2]
        for count, name in enumerate(("other", "mail", "window"), 1):
            self.press(f"one.id === '{name}'")
            self.see_visits(*visits[:count])
        x, y, width, height = desk.box(self.window)
        place = x + width // 2, y + height // 2
        desk.click(*place, 3)
        self.program.choose_in(self.program.elements, "Open Link in Browser")
        self.see_visits(*visits)
        self.page.see_ready()
        for go, path in ((lambda: self.press("one.id === 'inside'"), "/inside"), (lambda: desk.press("XF86Back"), "/"),
                         (lambda: desk.press("XF86Forward"), "/inside"), (lambda: desk.click(*place, 8), "/"),
                         (lambda: desk.click(*place, 9), "/inside")):
            go()
            self.page.see("location.pathname", path)
            self.page.see_ready()

    def test_a_service_that_is_away_and_the_death_of_the_processes_are_survived(self):
        self.open("<input autofocus>")
        with self.page.renewed():
            self.service.away = True
            desk.press("ctrl+r")
            until("the offline page", lambda: BUTTON in desk.colors(*desk.box(self.window)))
            self.service.away = False
            desk.press("Tab", "Return")
        for name in ("WebKitWebProces", "WebKitNetworkPr"):
            with self.page.renewed():
                for process, its_name in self.program.engine().items():
                    if its_name == name:
                        os.kill(process, signal.SIGKILL)
            desk.press("x")
            self.page.see("document.querySelector('input').value.slice(-1)", "x")

    # In a frame that may run scripts and nothing else, and in many that lead elsewhere.
    def test_hostile_frames_get_nothing(self):
        self.install_browser()
        attack = """<script>Promise.all(['lockSummary', 'setLockEnabled'].map((name) => webkit.messageHandlers.brisko.postMessage({ name })
            .catch(String))).then((said) => { webkit.messageHandlers.briskoChrome.postMessage({ background: 'rgb(255, 0, 0)' });
            parent.postMessage([typeof window.BriskoNative, ...said], '*') })</script>""".replace('"', "&quot;")
        self.open(f"""<body style='background: #0f1115'><script>onmessage = (e) => window.told = e.data</script>
            <iframe sandbox=allow-scripts srcdoc="{attack}"></iframe>""" + "<iframe src=https://elsewhere.example/></iframe>" * 9)
        self.page.see("window.told", ["undefined", *["Error: brisko: malformed call"] * 2])
        self.see_colors(DARK)
        self.see_visits("https://elsewhere.example/")
