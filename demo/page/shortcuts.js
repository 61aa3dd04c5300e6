// The page's keyboard shortcuts. A combo is a text such as "mod+shift+v": modifiers ("mod" is Command or Control), then
// the key, a single character in lower case or a name.

const names = {
  " ": "space",
  Enter: "enter",
  Backspace: "backspace",
  Delete: "delete",
  ArrowUp: "up",
  ArrowDown: "down",
  ArrowLeft: "left",
  ArrowRight: "right",
  Escape: "escape",
};

const modifierKeys = ["Control", "Meta", "Alt", "Shift", "AltGraph", "CapsLock", "OS"];

const onMac = /Mac/.test(navigator.platform);

/** The combo of a key press, or null while only modifiers are held. */
export function comboOf(event) {
  if (modifierKeys.includes(event.key)) return null;
  const key = names[event.key] ?? (event.key.length === 1 ? event.key.toLowerCase() : event.key);
  const words = [];
  if (event.metaKey || event.ctrlKey) words.push("mod");
  if (event.altKey) words.push("alt");
  if (event.shiftKey) words.push("shift");
  return [...words, key].join("+");
}

// The order of the modifiers says nothing.
const sorted = (combo) => combo.split("+").sort().join("+");

/** The combo as it is written on keys. */
export function comboText(combo) {
  if (!combo) return "None";
  const words = { mod: onMac ? "⌘" : "Ctrl", alt: onMac ? "⌥" : "Alt", shift: onMac ? "⇧" : "Shift", up: "↑", down: "↓",
    left: "←", right: "→" };
  return combo.split("+").map((word) => words[word] ?? word[0].toUpperCase() + word.slice(1)).join(onMac ? "" : " + ");
}

/** Whether the press goes to something that takes text or keys of its own. */
const isTyping = (event) => event.target instanceof Element && event.target.closest("input, textarea, select") !== null;

let capture = null;

/** Hands every following key press to `receiver` instead, until it returns true. */
export function captureKeys(receiver) {
  capture = receiver;
}

export function stopCapture() {
  capture = null;
}

/**
 * Listens for presses and calls `run` with the name of the action that one is bound to; `bindings` gives the map from
 * action to combo. A press that is aimed at a field is left to the field.
 */
export function listen(bindings, run) {
  document.addEventListener("keydown", (event) => {
    if (event.isComposing) return;
    if (capture) {
      event.preventDefault();
      event.stopPropagation();
      if (capture(event)) capture = null;
    }
  }, true);
  document.addEventListener("keydown", (event) => {
    if (event.defaultPrevented || event.isComposing || isTyping(event)) return;
    const combo = comboOf(event);
    if (combo === null) return;
    const bound = Object.entries(bindings()).find(([, value]) => value && sorted(value) === sorted(combo));
    if (!bound) return;
    event.preventDefault();
    run(bound[0]);
  });
}
