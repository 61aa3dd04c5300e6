// The task page: puts the parts together and performs the actions that keys, menus and buttons ask for.

import { request } from "/api.js";
import { drawBoard } from "/board.js";
import { today } from "/dates.js";
import { attempt, currentDialog, say } from "/dialogs.js";
import { el, icon, keepingFocus } from "/dom.js";
import { openEditor } from "/editor.js";
import { drawList } from "/list.js";
import { dropReminders, followReminders } from "/reminders.js";
import { openSettings } from "/settings.js";
import { comboText, listen } from "/shortcuts.js";
import { drawSidebar } from "/sidebar.js";
import { openSpotlight } from "/spotlight.js";
import { addTask, changeSettings, changeTask, currentList, filter, load, onChange, removeTask, removeTasks, scopeTitle,
  store, tasksIn, visibleTasks } from "/store.js";

const place = (id) => document.getElementById(id);

// What can be done with a task.

const taskActions = {
  edit: (task) => openEditor({ task, remove: taskActions.remove }),
  create: (status) => openEditor({ status, remove: taskActions.remove }),
  complete: (task) => taskActions.move(task, task.status === "done" ? "todo" : "done"),
  move: async (task, status) => {
    const before = task.status;
    if (!(await attempt(changeTask(task.id, { status })))) return;
    if (status === "done") say("Done.", () => changeTask(task.id, { status: before }));
  },
  remove: async (task) => {
    await attempt(removeTask(task.id).then(() => say("Deleted.", () => addTask(task))));
  },
  removeDone: async () => {
    const done = visibleTasks().filter((task) => task.status === "done");
    const what = done.length === 1 ? "the done task" : `the ${done.length} done tasks`;
    const matching = store.filter ? ` with “${store.filter}”` : "";
    if (!confirm(`Delete ${what}${matching} in “${scopeTitle()}”? This cannot be undone.`)) return;
    await attempt(removeTasks(done.map((task) => task.id))
      .then(() => say(done.length === 1 ? "Done task deleted." : `${done.length} done tasks deleted.`)));
  },
};

async function signOut() {
  dropReminders();
  await attempt(request("POST", "/api/auth/logout"));
  location.assign("/login");
}

// What keys and menus can ask for, by the names that the account's shortcuts use.

const pageActions = {
  newTask: () => taskActions.create("todo"),
  spotlight: () => openSpotlight({
    open: taskActions.edit,
    create: (title) => openEditor({ title, remove: taskActions.remove }),
    removeDone: taskActions.removeDone,
    run,
  }),
  search: () => {
    place("filter").focus();
    place("filter").select();
  },
  toggleView: () => attempt(changeSettings({ view: store.settings.view === "list" ? "board" : "list" })),
  openSettings: () => openSettings({ signOut }),
};

function run(name) {
  const dialog = currentDialog();
  // What is being written in the editor is not given up for anything but its own buttons.
  if (dialog?.classList.contains("editor")) return;
  dialog?.close();
  pageActions[name]?.();
}

// Drawing.

function drawHead() {
  const tasks = tasksIn(store.scope);
  const open = tasks.filter((task) => task.status !== "done").length;
  const done = tasks.length - open;
  place("title").textContent = scopeTitle();
  place("summary").textContent = `${open} open${done ? `, ${done} done` : ""}`;
  place("view-list").setAttribute("aria-pressed", String(store.settings.view === "list"));
  place("view-board").setAttribute("aria-pressed", String(store.settings.view === "board"));
  if (place("filter").value !== store.filter) place("filter").value = store.filter;
  const { newTask } = store.settings.shortcuts;
  place("new-task").title = newTask ? `New task (${comboText(newTask)})` : "New task";
}

function drawEmpty(into) {
  const filtered = store.filter !== "";
  const title = filtered ? "No task matches" : store.scope === "today" ? "Nothing due today" : "Nothing to do here";
  const text = filtered ? "The filter looks at this list only. The search looks everywhere."
    : currentList() ? "Tasks that you put in this list show up here." : "Write down the first thing that comes to mind.";
  into.replaceChildren(el("div", { class: "empty" },
    el("span", { class: "empty-mark" }, icon(filtered ? "search" : "check")),
    el("h2", { text: title }), el("p", { text }),
    filtered
      ? el("button", { type: "button", class: "button", text: "Clear the filter", onclick: () => filter("") })
      : el("button", { type: "button", class: "button primary", onclick: () => run("newTask") }, icon("plus"), "New task")));
}

function draw() {
  document.documentElement.dataset.theme = store.settings.theme;
  keepingFocus(() => {
    drawSidebar(place("side"), { run, signOut });
    drawHead();
    const main = place("tasks");
    main.className = `tasks-area ${store.settings.view}`;
    if (visibleTasks().length === 0) drawEmpty(main);
    else if (store.settings.view === "board") drawBoard(main, taskActions);
    else drawList(main, taskActions);
  });
}

/** What the page's address asks for, once: the desktop program opens "/?new=1" and "/?search=1". */
function followAddress() {
  const query = new URLSearchParams(location.search);
  if (query.get("new") === "1") run("newTask");
  else if (query.get("search") === "1") run("spotlight");
  if (location.search) history.replaceState(null, "", "/");
}

/** Days go by while the page stays open: "tomorrow" has to become "today", and times pass. */
function followClock() {
  let drawn = today();
  setInterval(() => {
    if (currentDialog() || (document.hidden && drawn === today())) return;
    drawn = today();
    draw();
  }, 60_000);
}

function wireHead() {
  place("new-task").addEventListener("click", () => run("newTask"));
  place("view-list").addEventListener("click", () => attempt(changeSettings({ view: "list" })));
  place("view-board").addEventListener("click", () => attempt(changeSettings({ view: "board" })));
  place("filter").addEventListener("input", (event) => filter(event.target.value));
  place("filter").addEventListener("keydown", (event) => {
    if (event.key !== "Escape") return;
    filter("");
    event.target.blur();
  });
}

wireHead();
onChange(draw);
listen(() => store.settings?.shortcuts ?? {}, run);
await attempt(load());
document.body.removeAttribute("aria-busy");
if (store.settings) {
  followReminders();
  followAddress();
  followClock();
}
