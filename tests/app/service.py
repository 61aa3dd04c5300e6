# The embedded service with the test's ear at the door: a server that hands every request on to the service's own process
# and can count and script them, and that puts a probe into each page which asks the test for work, so that a test asks the
# page what it is instead of looking at it:
#
#     service.page.see_ready()                                  drawn, hears its keys and has the keyboard
#     service.page.see("document.title", "brisko")              waits for that value
#     service.page.ask("return await BriskoNative.badge(3)")    runs it once and returns what comes of it
#     service.show("/", "<button>1</button>")                   a page of the test's own at that path
#     service.bodies("/api/auth/login")                         what has been asked

import collections
import contextlib
import http.client
import http.server
import json
import os
import ssl
import subprocess
import threading
import urllib.parse

from desk import DEADLINE, GLANCE, NotYet, run, until

Request = collections.namedtuple("Request", "method path headers body")
Answer = collections.namedtuple("Answer", "status headers body")

# The service or the engine's network process may be away for a while; a page may come back from the history.
PROBE = """<script>(async () => {
    const AsyncFunction = (async () => {}).constructor;
    for (let page = crypto.randomUUID(), answer = null;;)
        try {
            const asked = await fetch('/probe?' + page, { method: 'POST', body: JSON.stringify(answer) });
            if (asked.status !== 200) return;
            const { number, script } = await asked.json();
            try { answer = { number, value: await new AsyncFunction(script)() ?? null } }
            catch (error) { answer = { number, error: String(error) } }
        } catch {
            page = crypto.randomUUID();
            await new Promise((go) => setTimeout(go, 50));
        }
})()</script>"""

READY = "document.readyState === 'complete' && !document.querySelector('[aria-busy=true]') && document.hasFocus()"
STATE = """return { address: location.href, keyboard: document.hasFocus(), busy: document.body.ariaBusy,
    focus: document.activeElement?.outerHTML.slice(0, 200), text: document.body.innerText.slice(0, 300) }"""


# The newest page that has come from the service, wherever it is shown.
class Page:
    def __init__(self):
        self.news = threading.Condition()
        self.shown = []  # one entry for each page that has been shown, that of one which came back from the history too
        self.work = None  # that no page has taken yet
        self.answers = {}
        self.count = 0

    # The probe's side: takes the answer to the last script, returns the next one; None when another page has come.
    def take(self, page, answer):
        with self.news:
            if answer:
                self.answers[answer["number"]] = answer
            if page not in self.shown:
                self.shown.append(page)
            self.news.notify_all()
            self.news.wait_for(lambda: self.work or self.shown[-1] != page)
            if self.shown[-1] == page:
                work, self.work = self.work, None
                return work

    # Runs the body of an asynchronous function once in the page and returns its value.
    def ask(self, script, deadline=DEADLINE):
        with self.news:
            self.count += 1
            number, before = self.count, len(self.shown)
            self.work = {"number": number, "script": script}
            self.news.notify_all()
            self.news.wait_for(lambda: number in self.answers or len(self.shown) > before, deadline)
            self.work = None
            outcome = self.answers.pop(number, {"error": "the page has gone, or does not answer"})
        if "error" in outcome:
            raise NotYet(f"{script}: {outcome['error']}")
        return outcome["value"]

    # Waits for the expression to have that value; the page may be another one by then.
    def see(self, expression, expected=True):
        until(expression, lambda: self.ask(f"return {expression}"), expected)

    # Waits for the page to be drawn, to hear its keys and to have the keyboard.
    def see_ready(self):
        self.see(READY)

    # Waits for what is done meanwhile to lead to another page.
    @contextlib.contextmanager
    def renewed(self):
        before = len(self.shown)
        yield
        until("another page", lambda: len(self.shown) > before)
        self.see_ready()


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def answer(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        status, headers, content = self.server.answer(Request(self.command, self.path, self.headers, body))
        if self.server.away:
            self.close_connection = True
            return
        self.send_response(status)
        for name, value in headers:
            if name != "Content-Length":
                self.send_header(name, value)
        self.send_header("Content-Length", len(content))
        self.end_headers()
        self.wfile.write(content)

    do_GET = do_POST = do_PATCH = do_PUT = do_DELETE = answer

    def log_message(self, *_):
        pass


class Service(http.server.ThreadingHTTPServer):
    def __init__(self, folder):
        super().__init__(("127.0.0.1", 0), Handler)
        self.page = Page()
        self.requests = []
        self.scripted = {}  # what answers instead of the service, by the path
        self.away = False  # it ends every connection without an answer
        self.cookie = None  # that the program has sent last
        self.state, certificate, key = (folder / name for name in ("service.json", "front.pem", "front.key"))
        self.process = subprocess.Popen(
            [os.environ["BRISKO_DEMO_SERVICE"], "--stay", "--certificate", folder / "service.pem", "--state",
             self.state, "--captcha-answer", "tour"], stdout=subprocess.PIPE, text=True)
        greeting = json.loads(self.process.stdout.readline())
        self.behind = urllib.parse.urlsplit(greeting["origin"]).netloc
        self.trust = ssl.create_default_context(cafile=greeting["certificate"])
        run(*"openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=127.0.0.1".split(),
            "-addext", "subjectAltName=IP:127.0.0.1", "-out", certificate, "-keyout", key)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate, key)
        # A connection that says nothing keeps nobody waiting but its own thread.
        self.socket = context.wrap_socket(self.socket, server_side=True, do_handshake_on_connect=False)
        self.origin = f"https://127.0.0.1:{self.server_port}"
        self.arguments = ["--service-origin", self.origin, "--service-ca", certificate]
        threading.Thread(target=self.serve_forever, args=(GLANCE,), daemon=True).start()

    def stop(self):
        self.shutdown()
        self.server_close()
        self.process.terminate()
        self.process.communicate()

    def verify_request(self, *_):
        return not self.away

    def handle_error(self, *_):
        pass  # whoever asked has gone

    def answer(self, request):
        path, _, page = request.path.partition("?")
        if path == "/probe":
            work = self.page.take(page, json.loads(request.body))
            return Answer(200 if work else 204, [], json.dumps(work).encode() if work else b"")
        self.requests.append(request)
        self.cookie = request.headers.get("Cookie", self.cookie)
        status, headers, body = self.scripted.get(path, self.hand_on)(request)
        if status == 200 and any("text/html" in value for _, value in headers):
            body = body.replace(b"<!doctype html>", b"<!doctype html>" + PROBE.encode(), 1)
            # The page's policy lets nothing run that comes as a text; the probe does.
            allowed = "default-src 'self' 'unsafe-inline' 'unsafe-eval'"
            headers = [(name, value.replace("default-src 'self'", allowed)) for name, value in headers]
        return Answer(status, headers, body)

    # With the address that was asked for, too: the service compares it with the page's origin.
    def hand_on(self, request):
        return self.send(request.method, request.path, request.body, dict(request.headers))

    # What a browser gets, or the page with the program's session.
    def send(self, method, path, content=None, headers=None):
        connection = http.client.HTTPSConnection(self.behind, context=self.trust)
        body = json.dumps(content).encode() if isinstance(content, dict) else content
        connection.request(method, path, body, headers or {"Cookie": self.cookie or "", "Content-Type": "application/json"})
        with contextlib.closing(connection), connection.getresponse() as given:
            return Answer(given.status, given.getheaders(), given.read())

    def end_session(self):
        self.send("POST", "/api/auth/logout")

    # What a test does with it.

    def show(self, path, text):
        page = ("<!doctype html>" + text).encode()
        self.scripted[path] = lambda _: Answer(200, [("Content-Type", "text/html; charset=utf-8")], page)

    def bodies(self, path):
        return [json.loads(request.body or "null") for request in self.requests if request.path == path]

    # Its state; there is none before the first change.
    def kept(self, name):
        return json.loads(self.state.read_text())[name] if self.state.exists() else {}

    # The users that are signed in, one entry for each session.
    def sessions(self):
        return [session["username"] for session in self.kept("sessions").values()]

    # The titles of a user's tasks.
    def tasks(self, username):
        tasks = {account["username"]: account["tasks"]["tasks"] for account in self.kept("accounts")}
        return [task["title"] for task in tasks[username]]
