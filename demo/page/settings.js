// The settings dialog: theme, shortcuts, this computer, data, account.

import { computerSection } from "/computer.js";
import { dataSection } from "/data.js";
import { attempt, openDialog } from "/dialogs.js";
import { el, iconButton } from "/dom.js";
import { captureKeys, comboOf, comboText, stopCapture } from "/shortcuts.js";
import { changeSettings, store } from "/store.js";

const themes = [
  { key: "dark", title: "Dark" },
  { key: "light", title: "Light" },
  { key: "dusk", title: "Dusk" },
  { key: "pine", title: "Pine" },
  { key: "sand", title: "Sand" },
  { key: "system", title: "Like the system" },
];

const actions = [
  { key: "newTask", title: "New task", combo: "mod+n" },
  { key: "spotlight", title: "Search all tasks", combo: "mod+k" },
  { key: "search", title: "Filter this list", combo: "mod+f" },
  { key: "toggleView", title: "Switch list and board", combo: "mod+shift+v" },
  { key: "openSettings", title: "Settings", combo: "mod+," },
];

const pages = [
  { path: "/guides", title: "Guides" },
  { path: "/privacy", title: "Privacy" },
  { path: "/changelog", title: "Changelog" },
];

function themeChoice() {
  return el("div", { class: "themes", role: "radiogroup", "aria-label": "Theme" }, ...themes.map((theme) =>
    el("label", { class: "theme", "data-theme": theme.key },
      el("input", { type: "radio", name: "theme", value: theme.key, checked: store.settings.theme === theme.key,
        onchange: () => attempt(changeSettings({ theme: theme.key })) }),
      el("span", { class: "sample", "aria-hidden": "true" }, el("i"), el("i"), el("i")),
      el("span", { class: "theme-title", text: theme.title }))));
}

/** The rows that show each action's keys and take new ones. `stored` is called after a change. */
function shortcutRows(stored) {
  const message = el("p", { class: "message", role: "alert" });
  const buttons = new Map();

  const show = () => {
    for (const [key, button] of buttons) {
      button.textContent = comboText(store.settings.shortcuts[key]);
      button.classList.remove("waiting");
    }
  };
  const keep = async (shortcuts) => {
    message.textContent = "";
    try {
      await changeSettings({ shortcuts });
      stored();
    } catch (error) {
      message.textContent = error.message;
    }
    show();
  };
  const ask = (key) => {
    show();
    buttons.get(key).textContent = "Press the keys…";
    buttons.get(key).classList.add("waiting");
    captureKeys((event) => {
      const combo = comboOf(event);
      if (combo === null) return false;
      if (combo === "escape") show();
      else keep({ [key]: combo === "backspace" || combo === "delete" ? "" : combo });
      return true;
    });
  };

  const rows = actions.map((action) => {
    const button = el("button", { type: "button", class: "keys", "aria-label": `Shortcut for ${action.title}`,
      onclick: () => ask(action.key),
      onblur: () => {
        stopCapture();
        show();
      } });
    buttons.set(action.key, button);
    return el("div", { class: "shortcut" }, el("span", { text: action.title }), button);
  });
  show();
  const defaults = Object.fromEntries(actions.map((action) => [action.key, action.combo]));
  return [...rows, message, el("div", { class: "shortcut hint" },
    el("span", { text: "Click one, then press its new keys. Backspace switches it off." }),
    el("button", { type: "button", class: "chip", text: "Use the defaults", onclick: () => keep(defaults) }))];
}

/** Opens the settings. `signOut` ends the session. */
export function openSettings({ signOut }) {
  let shortcutsChanged = false;
  const data = dataSection();
  const dialog = openDialog({
    label: "Settings",
    className: "settings",
    content: [
      el("header", { class: "dialog-head" }, el("h1", { text: "Settings" }),
        iconButton("close", "Close", () => dialog.close())),
      el("div", { class: "dialog-body" },
        el("h2", { text: "Theme" }), themeChoice(),
        el("h2", { text: "Shortcuts" }), ...shortcutRows(() => (shortcutsChanged = true)),
        ...computerSection(),
        el("h2", { text: "Your data" }), ...data.nodes,
        el("h2", { text: "Account" }),
        el("div", { class: "shortcut" },
          el("span", {}, el("strong", { text: store.settings.username }),
            store.settings.email && el("span", { class: "soft", text: ` ${store.settings.email}` })),
          el("button", { type: "button", class: "button", text: "Sign out", onclick: signOut })),
        el("nav", { class: "about", "aria-label": "About brisko" }, ...pages.map(({ path, title }) =>
          el("a", { href: path, target: "_blank", rel: "noopener", text: title })))),
    ],
    onClose: () => {
      data.close();
      stopCapture();
      // The desktop program learns the account's keys when a page loads, and its menus should follow now.
      if (shortcutsChanged) location.reload();
    },
  });
}
