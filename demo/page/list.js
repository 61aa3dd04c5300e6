// The list view: the tasks by day.

import { el, icon, iconButton } from "/dom.js";
import { dayGroupOf, dayGroups, dueText, isOverdue } from "/dates.js";
import { addressesIn, outwardLink, readable } from "/links.js";
import { currentList, listColor, visibleTasks } from "/store.js";

let doneOpen = false;

/** The first address in the task's notes; the editor shows the others. */
function linkFact(task) {
  const [address, ...others] = addressesIn(task.notes);
  if (!address) return null;
  const host = readable(address).split(/[/?#]/)[0];
  return outwardLink(address, others.length > 0 ? `${host} +${others.length}` : host,
    { class: "fact link", draggable: "false", "aria-label": `Open ${readable(address)}`, "data-key": `link-${task.id}` });
}

/** What is known of a task beside its title. The list is left out where all tasks are of the same one. */
export function taskFacts(task) {
  const due = dueText(task);
  const words = addressesIn(task.notes).reduce((rest, address) => rest.replaceAll(address, ""), task.notes).trim();
  return [
    words && el("span", { class: "fact", title: "Has notes" }, icon("note")),
    linkFact(task),
    !currentList() && el("span", { class: "fact" },
      el("span", { class: "dot", style: { "--dot": listColor(task.list) } }), task.list),
    due && el("span", { class: isOverdue(task) ? "fact due late" : "fact due", text: due }),
  ];
}

/** The round box that completes a task or opens it again. */
export function completeBox(task, complete) {
  const done = task.status === "done";
  return el("button",
    {
      type: "button",
      class: "complete",
      role: "checkbox",
      "aria-checked": String(done),
      "aria-label": done ? `Open “${task.title}” again` : `Complete “${task.title}”`,
      "data-key": `complete-${task.id}`,
      onclick: () => complete(task),
    },
    icon("check"));
}

function row(task, { edit, complete, remove }) {
  return el("li", { class: `task ${task.status}` },
    completeBox(task, complete),
    el("button", { type: "button", class: "task-open", "data-key": `task-${task.id}`, onclick: () => edit(task) },
      el("span", { class: "task-title", text: task.title }),
      task.status === "doing" && el("span", { class: "badge", text: "In progress" })),
    el("span", { class: "facts" }, ...taskFacts(task)),
    el("span", { class: "row-actions" },
      iconButton("edit", `Edit “${task.title}”`, () => edit(task), { "data-key": `edit-${task.id}` }),
      iconButton("trash", `Delete “${task.title}”`, () => remove(task), { "data-key": `remove-${task.id}` })));
}

/** Stands below what it deletes. */
export const removeDoneButton = (removeDone) =>
  el("button", { type: "button", class: "remove-done", "data-key": "remove-done", onclick: removeDone },
    icon("trash"), "Delete done tasks…");

function group({ key, title, aside }, tasks, actions) {
  const items = el("ul", { class: "tasks" }, ...tasks.map((task) => row(task, actions)));
  const heading = [
    el("span", { class: "group-title", text: title }),
    aside && el("span", { class: "group-aside", text: aside }),
    el("span", { class: "count", text: tasks.length }),
  ];
  if (key !== "done")
    return el("section", { class: `group ${key}`, "aria-label": title }, el("h2", {}, ...heading), items);
  return el("details", { class: "group done", open: doneOpen, ontoggle: (event) => (doneOpen = event.target.open) },
    el("summary", { "data-key": "done" }, icon("right"), ...heading), items, removeDoneButton(actions.removeDone));
}

export function drawList(place, actions) {
  const tasks = visibleTasks();
  const groups = dayGroups()
    .map((day) => ({ day, tasks: tasks.filter((task) => dayGroupOf(task) === day.key) }))
    .filter((entry) => entry.tasks.length > 0);
  place.replaceChildren(el("div", { class: "list" }, ...groups.map((entry) => group(entry.day, entry.tasks, actions))));
}
