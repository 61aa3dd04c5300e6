"""The embedded service with the test's ear at the door: a server that hands every request on to the service's own process
and can count and script them, and that puts a probe into each page which asks the test for work, so that a test asks the
page what it is instead of looking at it:

    service.page.see_ready()                                  drawn, hears its keys and has the keyboard
    service.page.see("document.title", "brisko")              waits for that value
    service.page.ask("return await BriskoNative.badge(3)")    runs it once and returns what comes of it
    service.show("/", "<button>1</button>")                   a page of the test's own at that path
    service.refuse("/api/auth/login", "Not today.")           an answer of the test's own
    service.bodies("/api/auth/login")                         what has been asked
"""

import collections
import contextlib
import http.client
import http.server
import json
import os
import socket
import sqlite3
import ssl
import subprocess
import threading
import time
import urllib.parse

from desk import DEADLINE, GLANCE

Request = collections.namedtuple("Request", "method path query headers body")
Answer = collections.namedtuple("Answer", "status headers parts")

PROBE = """<script>(() => {
    const work = async () => {
        const page = crypto.randomUUID(), AsyncFunction = work.constructor;
        for (let answer = null;;) {
            const asked = await fetch('/probe?' + page, { method: 'POST', body: JSON.stringify(answer) });
            if (asked.status !== 200) return;
            const { number, script } = await asked.json();
            try { answer = { number, value: await new AsyncFunction(script)() ?? null } }
            catch (error) { answer = { number, error: String(error) } }
        }
    };
    // The service or the engine's network process may be away for a while; a page may come back from the history.
    let turn = 0;
    const begin = (mine = turn += 1) => work().catch(() => setTimeout(() => mine === turn && begin(), 50));
    addEventListener('pageshow', (event) => event.persisted && begin());
    begin();
})()</script>"""

READY = "document.readyState === 'complete' && !document.querySelector('[aria-busy=true]') && document.hasFocus()"
STATE = """const of = (node) => node?.outerHTML.slice(0, 200);
    return { address: location.href, ready: document.readyState, keyboard: document.hasFocus(), busy: document.body.ariaBusy,
             focus: of(document.activeElement), value: document.activeElement?.value,
             dialog: of(document.querySelector('dialog[open]')), text: document.body.innerText.slice(0, 300) }"""


class Page:
    """The newest page that has come from the service, wherever it is shown."""

    def __init__(self):
        self.news = threading.Condition()
        self.shown = []  # one entry for each page that has been shown, that of one which came back from the history too
        self.scripts = {}  # that no page has taken yet, by their numbers
        self.answers = {}
        self.count = 0
        self.ended = False

    def take(self, page, answer):
        """The probe's side: gives the answer to the last script, returns the next one; None when another page has come."""
        with self.news:
            if answer:
                self.answers[answer["number"]] = answer
            if page not in self.shown:
                self.shown.append(page)
            self.news.notify_all()
            self.news.wait_for(lambda: self.ended or self.shown[-1] != page or self.scripts)
            if self.ended or self.shown[-1] != page:
                return None
            number, script = self.scripts.popitem()
            return {"number": number, "script": script}

    def end(self):
        with self.news:
            self.ended = True
            self.news.notify_all()

    def run(self, script, deadline=DEADLINE):
        """The outcome of the body of an asynchronous function in the page; None when the page has gone, or is silent."""
        with self.news:
            self.count += 1
            number, before = self.count, len(self.shown)
            self.scripts[number] = script
            self.news.notify_all()
            self.news.wait_for(lambda: number in self.answers or before and len(self.shown) > before, deadline)
            self.scripts.pop(number, None)
            return self.answers.pop(number, None)

    def ask(self, script):
        """Runs it once and returns its value."""
        outcome = self.run(script) or {"error": "the page has not answered"}
        if "error" in outcome:
            raise AssertionError(f"{script}: {outcome['error']}")
        return outcome["value"]

    def see(self, expression, expected=True):
        """Waits for the expression to have that value; the page may be another one by then."""
        end = time.monotonic() + DEADLINE
        seen = "the page has not answered"
        while (left := end - time.monotonic()) > 0:
            if outcome := self.run(f"return {expression}", left):
                seen = outcome.get("error", outcome.get("value"))
                if "value" in outcome and seen == expected:
                    return
            time.sleep(GLANCE)
        raise AssertionError(f"Waited in vain for {expression} to be {expected!r}; it was {seen!r}.")

    def see_ready(self):
        """Waits for the page to be drawn, to hear its keys and to have the keyboard."""
        self.see(READY)

    def see_another(self, count):
        """Waits for a page after the first `count`, which `len(page.shown)` has told before, to be ready."""
        with self.news:
            if not self.news.wait_for(lambda: len(self.shown) > count, DEADLINE):
                raise AssertionError(f"Waited in vain for another page after {count}.")
        self.see_ready()


class Service:
    def __init__(self, folder):
        self.page = Page()
        self.requests = []
        self.scripted = {}  # what answers instead of the service, by the path
        self.connections = set()
        self.state, self.certificate, self.key = (folder / name for name in ("service.json", "front.pem", "front.key"))
        self.process = subprocess.Popen(
            [os.environ["BRISKO_DEMO_SERVICE"], "--stay", "--certificate", folder / "service.pem", "--state", self.state,
             "--captcha-answer", "tour"], stdout=subprocess.PIPE, text=True)
        greeting = json.loads(self.process.stdout.readline())
        self.behind = urllib.parse.urlsplit(greeting["origin"]).netloc
        self.trust = ssl.create_default_context(cafile=greeting["certificate"])
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-out", self.certificate,
                        "-keyout", self.key], check=True, capture_output=True)
        # Keeps the port for this service while nobody listens there.
        self.place = socket.socket()
        self.place.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.place.bind(("127.0.0.1", 0))
        self.port = self.place.getsockname()[1]
        self.origin = f"https://127.0.0.1:{self.port}"
        self.arguments = ["--service-origin", self.origin, "--service-ca", self.certificate]
        self.come_back()

    def come_back(self):
        """Listens, always under the same address and with the same certificate."""
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.certificate, self.key)
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", self.port), self.handler())
        # A connection that says nothing keeps nobody waiting but its own thread.
        self.server.socket = context.wrap_socket(self.server.socket, server_side=True, do_handshake_on_connect=False)
        self.server.daemon_threads = True
        self.server.handle_error = lambda *_: None  # whoever asked has gone
        threading.Thread(target=self.server.serve_forever, args=(GLANCE,), daemon=True).start()

    def go_away(self):
        self.server.shutdown()
        self.server.server_close()
        for connection in list(self.connections):
            with contextlib.suppress(OSError):
                connection.shutdown(socket.SHUT_RDWR)

    def stop(self):
        self.page.end()
        self.go_away()
        self.place.close()
        self.process.terminate()
        self.process.wait(DEADLINE)
        self.process.stdout.close()

    def handler(service):  # noqa: N805
        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def setup(self):
                super().setup()
                service.connections.add(self.request)

            def answer(self):
                path, _, query = self.path.partition("?")
                body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
                status, headers, parts = service.answer(Request(self.command, path, query, self.headers, body))
                if isinstance(parts, list):
                    length = ("Content-Length", str(sum(map(len, parts))))
                    headers = [*((name, value) for name, value in headers if name != length[0]), length]
                self.send_response(status)
                for name, value in headers:
                    self.send_header(name, value)
                self.end_headers()
                for part in parts:
                    self.wfile.write(part)
                    self.wfile.flush()

            do_GET = do_POST = do_PATCH = do_PUT = do_DELETE = answer

            def log_message(self, *_):
                pass

        return Handler

    def answer(self, request):
        if request.path == "/probe":
            work = self.page.take(request.query, json.loads(request.body))
            return Answer(200 if work else 204, [], [json.dumps(work).encode()] if work else [])
        self.requests.append(request)
        status, headers, parts = self.scripted.get(request.path, self.hand_on)(request)
        if status == 200 and any("text/html" in value for _, value in headers):
            parts = [b"".join(parts).replace(b"<!doctype html>", b"<!doctype html>" + PROBE.encode(), 1)]
            # The page's policy lets nothing run that comes as a text; the probe does.
            allowed = "default-src 'self' 'unsafe-inline' 'unsafe-eval'"
            headers = [(name, value.replace("default-src 'self'", allowed)) for name, value in headers]
        return Answer(status, headers, parts)

    def hand_on(self, request):
        """With the address that was asked for, too: the service compares it with the page's origin."""
        given = self.send(request.method, request.path + "?" + request.query, request.body, headers=dict(request.headers))
        return Answer(given.status, given.getheaders(), [given.content])

    # What a test does with it.

    def show(self, path, text):
        page = ("<!doctype html>" + text).encode()
        self.scripted[path] = lambda _: Answer(200, [("Content-Type", "text/html; charset=utf-8")], [page])

    def refuse(self, path, error):
        self.scripted[path] = lambda _: Answer(401, [], [json.dumps({"error": error}).encode()])

    def bodies(self, path):
        return [json.loads(request.body or "null") for request in self.requests if request.path == path]

    def send(self, method, path, content=None, cookie="", headers=None):
        """What a browser or the page gets, its body as `content`; redirections are not followed."""
        connection = http.client.HTTPSConnection(self.behind, context=self.trust)
        body = content if isinstance(content, (bytes, type(None))) else json.dumps(content).encode()
        connection.request(method, path, body, headers or {"Cookie": cookie, "Content-Type": "application/json"})
        answer = connection.getresponse()
        answer.content = answer.read()
        connection.close()
        return answer

    def sign_in(self, profile, username, password):
        """Leaves the profile as the program leaves it after a sign-in."""
        given = self.send("POST", "/api/auth/login", {"username": username, "password": password})
        name, value = given.headers["Set-Cookie"].split(";")[0].split("=", 1)
        kept = {"name": name, "value": value, "domain": "127.0.0.1", "path": "/", "expires": int(time.time()) + 86400,
                "secure": True, "httpOnly": True, "sameSite": "Lax"}
        folder = profile / "data" / "origins" / f"127.0.0.1_{self.port}"
        (folder / "web").mkdir(parents=True, mode=0o700)
        (folder / "cookies.json").write_text(json.dumps({"version": 1, "cookies": [kept]}))
        # The engine's cookies, as libsoup keeps them.
        with contextlib.closing(sqlite3.connect(folder / "web" / "cookies.sqlite")) as jar, jar:
            jar.execute("CREATE TABLE moz_cookies (id INTEGER PRIMARY KEY, name TEXT, value TEXT, host TEXT, path TEXT,"
                        " expiry INTEGER, lastAccessed INTEGER, isSecure INTEGER, isHttpOnly INTEGER, sameSite INTEGER)")
            jar.execute("INSERT INTO moz_cookies VALUES (NULL, ?, ?, '127.0.0.1', '/', ?, NULL, 1, 1, 1)",
                        (name, value, kept["expires"]))

    def kept(self):
        """Its state; there is none before the first change."""
        return json.loads(self.state.read_text()) if self.state.exists() else {"accounts": [], "sessions": {}}

    def sessions(self):
        """The users that are signed in, one entry for each session."""
        return [session["username"] for session in self.kept()["sessions"].values()]

    def tasks(self, username):
        """The titles of a user's tasks."""
        return [task["title"] for account in self.kept()["accounts"] if account["username"] == username
                for task in account["tasks"]["tasks"]]
