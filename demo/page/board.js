// The kanban view: the tasks by progress, in columns between which cards can be dragged or moved with their arrows.

import { el, icon, iconButton } from "/dom.js";
import { completeBox, removeDoneButton, taskFacts } from "/list.js";
import { statuses, store, visibleTasks } from "/store.js";

function arrow(task, step, move) {
  const target = statuses[statuses.findIndex((status) => status.key === task.status) + step];
  if (!target) return null;
  const name = step < 0 ? "left" : "right";
  return iconButton(name, `Move “${task.title}” to ${target.title}`, () => move(task, target.key),
    { "data-key": `${name}-${task.id}` });
}

function card(task, { edit, complete, move, remove }) {
  const facts = taskFacts(task).filter(Boolean);
  return el("li",
    {
      class: `card ${task.status}`,
      draggable: "true",
      ondragstart: (event) => {
        event.dataTransfer.setData("text/plain", String(task.id));
        event.dataTransfer.effectAllowed = "move";
        event.currentTarget.classList.add("dragged");
      },
      ondragend: (event) => event.currentTarget.classList.remove("dragged"),
    },
    el("div", { class: "card-head" },
      completeBox(task, complete),
      el("button", { type: "button", class: "task-open", "data-key": `task-${task.id}`, onclick: () => edit(task) },
        el("span", { class: "task-title", text: task.title }))),
    facts.length > 0 && el("div", { class: "facts" }, ...facts),
    el("div", { class: "row-actions" },
      arrow(task, -1, move), arrow(task, 1, move),
      iconButton("trash", `Delete “${task.title}”`, () => remove(task), { "data-key": `remove-${task.id}` })));
}

function column(status, tasks, actions) {
  const node = el("section",
    {
      class: `column ${status.key}`,
      "aria-label": status.title,
      ondragover: (event) => {
        event.preventDefault();
        node.classList.add("target");
      },
      ondragleave: (event) => {
        if (!node.contains(event.relatedTarget)) node.classList.remove("target");
      },
      ondrop: (event) => {
        event.preventDefault();
        node.classList.remove("target");
        const task = store.tasks.find((candidate) => String(candidate.id) === event.dataTransfer.getData("text/plain"));
        if (task && task.status !== status.key) actions.move(task, status.key);
      },
    },
    el("h2", {}, el("span", { class: "group-title", text: status.title }),
      el("span", { class: "count", text: tasks.length })),
    el("ul", { class: "cards" }, ...tasks.map((task) => card(task, actions))),
    tasks.length === 0 && el("p", { class: "column-empty", text: "Nothing here" }),
    status.key !== "done" && el("button",
      { type: "button", class: "column-add", "data-key": `add-${status.key}`, onclick: () => actions.create(status.key) },
      icon("plus"), "Add a task"),
    status.key === "done" && tasks.length > 0 && removeDoneButton(actions.removeDone));
  return node;
}

export function drawBoard(place, actions) {
  const tasks = visibleTasks();
  const scrolled = [...place.querySelectorAll(".cards")].map((cards) => cards.scrollTop);
  place.replaceChildren(el("div", { class: "board" }, ...statuses.map((status) =>
    column(status, tasks.filter((task) => task.status === status.key), actions))));
  place.querySelectorAll(".cards").forEach((cards, index) => (cards.scrollTop = scrolled[index] ?? 0));
}
