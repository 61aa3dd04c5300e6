// Keeps the desktop shell's window in step with the page: reports the colour behind the page's content, and the account's
// own key bindings for the menu bar. Runs once in every page of the service, when its document is there, and is listened to
// by its token.

((origin, token) => {
  "use strict";
  if (location.origin !== origin) return;

  const post = (body) => {
    try {
      window.webkit.messageHandlers.briskoChrome.postMessage({ token, body });
    } catch {
      // No shell is listening.
    }
  };

  const isTransparent = (color) => color === "" || color === "transparent" || /,\s*0\)$/.test(color);

  const background = () => {
    const ofBody = document.body ? getComputedStyle(document.body).backgroundColor : "";
    return isTransparent(ofBody) ? getComputedStyle(document.documentElement).backgroundColor : ofBody;
  };

  let last = null;

  const report = () => {
    const color = background();
    if (!color || color === last) return;
    last = color;
    post({ background: color });
  };

  report();

  // The page applies its theme once it has hydrated, and anew whenever the account's setting changes. Either lands as an
  // attribute of one of these two.
  const observer = new MutationObserver(report);
  for (const root of [document.documentElement, document.body])
    if (root) observer.observe(root, { attributes: true });

  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => setTimeout(report, 60));

  // The first paint: until then the observer watches what has no style yet.
  setTimeout(report, 400);
  setTimeout(report, 1600);

  // Signed out, the service refuses (401) and the menu bar keeps the keys that it has.
  const reportShortcuts = async () => {
    const response = await fetch("/api/settings", { credentials: "same-origin" });
    if (!response.ok) return;
    const settings = await response.json();
    if (settings?.shortcuts) post({ shortcuts: settings.shortcuts });
  };
  reportShortcuts().catch(() => {});
})
