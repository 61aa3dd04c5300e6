// The column at the left: what to look at, and whose tasks these are.

import { el, icon, iconButton } from "/dom.js";
import { comboText } from "/shortcuts.js";
import { listColor, lists, look, scopes, store, tasksIn } from "/store.js";

const openCount = (scope) => tasksIn(scope).filter((task) => task.status !== "done").length;

function entry(scope, title, mark) {
  const count = openCount(scope);
  return el("button",
    {
      type: "button",
      class: "scope",
      "data-key": `scope-${scope}`,
      "aria-current": store.scope === scope ? "page" : null,
      onclick: () => look(scope),
    },
    mark, el("span", { class: "scope-title", text: title }),
    count > 0 && el("span", { class: "count", text: count, "aria-label": `${count} open` }));
}

/** Draws the column. `run` performs a page action, `signOut` ends the session. */
export function drawSidebar(place, { run, signOut }) {
  const { username, email, shortcuts } = store.settings;
  place.replaceChildren(
    el("div", { class: "wordmark", "aria-label": "brisko" }, "bris", el("span", { text: "ko" })),
    el("button", { type: "button", class: "search-all", "data-key": "search-all", onclick: () => run("spotlight") },
      icon("search"), el("span", { text: "Search" }),
      shortcuts.spotlight && el("kbd", { text: comboText(shortcuts.spotlight) })),
    el("nav", { class: "scopes", "aria-label": "Tasks" },
      ...scopes.map((scope) => entry(scope.key, scope.title, icon(scope.key))),
      el("h2", { text: "Lists" }),
      ...lists().map((name) =>
        entry(`list:${name}`, name, el("span", { class: "dot", style: { "--dot": listColor(name) } })))),
    el("div", { class: "account" },
      el("span", { class: "initial", "aria-hidden": "true", text: username[0].toUpperCase() }),
      el("span", { class: "account-name", title: email || null, text: username }),
      iconButton("settings", "Settings", () => run("openSettings"), { "data-key": "settings" }),
      iconButton("leave", "Sign out", signOut, { "data-key": "sign-out" })));
}
