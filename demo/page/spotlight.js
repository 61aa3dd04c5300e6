// The search over all tasks, whatever list they are in, and over the page's own commands.

import { byDue, dueText, isOverdue } from "/dates.js";
import { openDialog } from "/dialogs.js";
import { el, icon } from "/dom.js";
import { comboText } from "/shortcuts.js";
import { listColor, matches, statuses, store, visibleTasks } from "/store.js";

const most = 8;

/** The text as nodes, with what was searched for marked. */
function marked(text, query) {
  const words = query.toLowerCase().split(/\s+/).filter(Boolean);
  const nodes = [];
  let rest = text;
  while (rest) {
    const hits = words.map((word) => ({ word, at: rest.toLowerCase().indexOf(word) })).filter((hit) => hit.at >= 0);
    const next = hits.sort((a, b) => a.at - b.at || b.word.length - a.word.length)[0];
    if (!next) break;
    nodes.push(rest.slice(0, next.at), el("mark", { text: rest.slice(next.at, next.at + next.word.length) }));
    rest = rest.slice(next.at + next.word.length);
  }
  return [...nodes, rest];
}

function taskEntry(task, query, open) {
  const due = dueText(task);
  return {
    act: () => open(task),
    content: [
      el("span", { class: "dot", style: { "--dot": listColor(task.list) } }),
      el("span", { class: task.status === "done" ? "hit-title struck" : "hit-title" }, ...marked(task.title, query)),
      el("span", { class: "fact", text: task.list }),
      due
        ? el("span", { class: isOverdue(task) ? "fact due late" : "fact due", text: due })
        : el("span", { class: "fact", text: statuses.find((status) => status.key === task.status).title }),
    ],
  };
}

function commandEntry(name, title, combo, act) {
  return {
    act,
    content: [icon(name), el("span", { class: "hit-title", text: title }), combo && el("kbd", { text: comboText(combo) })],
  };
}

function entriesFor(query, { open, create, removeDone, run }) {
  const { shortcuts, view } = store.settings;
  const found = store.tasks.filter((task) => matches(task, query))
    .sort((a, b) => (a.status === "done") - (b.status === "done") || byDue(a, b)).slice(0, query ? most : 5)
    .map((task) => taskEntry(task, query, open));
  const commands = [
    ["board", view === "list" ? "Switch to the board" : "Switch to the list", shortcuts.toggleView, () => run("toggleView")],
    ["settings", "Settings", shortcuts.openSettings, () => run("openSettings")],
    ...(visibleTasks().some((task) => task.status === "done") ? [["trash", "Delete done tasks…", "", removeDone]] : []),
  ].filter(([, title]) => title.toLowerCase().includes(query.toLowerCase()));
  return [
    ...found,
    query
      ? commandEntry("plus", `New task “${query}”`, "", () => create(query))
      : commandEntry("plus", "New task", shortcuts.newTask, () => create("")),
    ...commands.map((command) => commandEntry(...command)),
  ];
}

/** Opens the search. `open` shows a task, `create` starts one with a title, `run` performs a page action. */
export function openSpotlight(actions) {
  let entries = [];
  let selected = 0;
  const results = el("ul", { class: "hits", role: "listbox", id: "hits", "aria-label": "Results" });
  const field = el("input", { class: "spotlight-field", type: "text", placeholder: "Search all tasks",
    "aria-label": "Search all tasks", autocomplete: "off", role: "combobox", "aria-expanded": "true",
    "aria-controls": "hits", autofocus: true });

  const choose = (index) => {
    dialog.close();
    entries[index]?.act();
  };
  const select = (index) => {
    selected = (index + entries.length) % entries.length;
    [...results.children].forEach((node, n) => node.setAttribute("aria-selected", String(n === selected)));
    results.children[selected].scrollIntoView({ block: "nearest" });
    field.setAttribute("aria-activedescendant", `hit-${selected}`);
  };
  const search = () => {
    entries = entriesFor(field.value.trim(), actions);
    results.replaceChildren(...entries.map((entry, index) =>
      el("li", { class: "hit", role: "option", id: `hit-${index}`, onclick: () => choose(index),
        onmousemove: () => index !== selected && select(index) }, ...entry.content)));
    select(0);
  };
  field.addEventListener("input", search);
  field.addEventListener("keydown", (event) => {
    const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
    if (step) select(selected + step);
    else if (event.key === "Enter") choose(selected);
    else return;
    event.preventDefault();
  });

  const dialog = openDialog({ label: "Search all tasks", className: "spotlight",
    content: [el("div", { class: "spotlight-head" }, icon("search"), field), results] });
  search();
  field.focus();
}
