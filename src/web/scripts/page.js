// What the desktop shell gives to every page of the service, before any script of the page has run.
//
// window.BriskoNative: the calls to the desktop. Each posts one message { name, options } and returns a promise of the
// reply. They are here and under no other name: the page takes window.Capacitor.Plugins.Brisko for the sign of a phone
// and switches to the controls of one.
//
// window.__brisko.run(combo): presses a shortcut for the menu bar. The page owns what each binding does, including those
// that its owner has changed, so a menu item is a second way to press it and never does the action itself.

// Every frame and every page may post to the shell, and only this script knows the token by which it listens.

((origin, token) => {
  "use strict";
  if (location.origin !== origin || window.BriskoNative) return;

  const wellFormed = (_, value) => typeof value === "string" ? value.replace(/\p{Surrogate}/gu, "\ufffd") : value;

  // A value that cannot be cloned for the shell (a function, say) would leave the promise open for ever. What JSON has no
  // word for is left out; what it refuses arrives as null, and the shell says that the call is malformed.
  const message = (name, options) => {
    const plain = { name, options: options || {} };
    try {
      const text = JSON.stringify(plain);
      // Half of a character, where a text has been cut in the middle of an emoji, is written as an escape, which the shell
      // would refuse with all the rest.
      return JSON.parse(text.includes("\\ud") ? JSON.stringify(plain, wellFormed) : text);
    } catch {
      return null;
    }
  };

  const call = (name, options) =>
    window.webkit.messageHandlers.brisko.postMessage({ token, body: message(name, options) });

  window.BriskoNative = {
    notificationStatus: () => call("notificationStatus"),
    requestNotifications: () => call("requestNotifications"),
    syncReminders: (options) => call("syncReminders", options),
    biometryAvailable: () => call("biometryAvailable"),
    lockEnabled: () => call("lockEnabled"),
    setLockEnabled: (options) => call("setLockEnabled", options),
    lockSummary: () => call("lockSummary"),
    openLockSettings: (options) => call("openLockSettings", options),
  };

  // The words of a combo that the DOM knows by another name. Every other key is its own name.
  const NAMED = new Map([
    ["space", " "],
    ["enter", "Enter"],
    ["backspace", "Backspace"],
    ["delete", "Delete"],
    ["up", "ArrowUp"],
    ["down", "ArrowDown"],
    ["left", "ArrowLeft"],
    ["right", "ArrowRight"],
    ["escape", "Escape"],
  ]);

  window.__brisko = {
    run(combo) {
      const modifiers = String(combo).split("+");
      const key = modifiers.pop();
      // The page leaves alone what is typed into a field, and a menu item is never that: so the body, whatever has the
      // focus.
      document.body.dispatchEvent(new KeyboardEvent("keydown", {
        key: NAMED.get(key) ?? key,
        bubbles: true,
        cancelable: true,
        metaKey: modifiers.includes("mod"),
        altKey: modifiers.includes("alt"),
        shiftKey: modifiers.includes("shift"),
      }));
    },
  };
})
