// The dialog in which a task is written or changed.

import { addDays, today } from "/dates.js";
import { openDialog } from "/dialogs.js";
import { el, iconButton } from "/dom.js";
import { addressesIn, outwardLink, readable } from "/links.js";
import { addTask, changeTask, currentList, lists, statuses, store } from "/store.js";

const newList = "\u0000new"; // no list can have this name

const labelled = (text, field, ...below) =>
  el("div", { class: "row" }, el("label", { class: "label", for: field.id, text }), field, ...below);

/** A new task's fields, as what is being looked at suggests. */
function blank(title, status) {
  return {
    title,
    notes: "",
    list: currentList() ?? "Inbox",
    status,
    dueDate: store.scope === "today" ? today() : null,
    dueTime: null,
  };
}

function listChoice(task) {
  const name = el("input", { class: "field", id: "newList", maxlength: 40, placeholder: "Name of the new list",
    "aria-label": "Name of the new list", hidden: true });
  const choice = el("select",
    {
      class: "field",
      id: "list",
      onchange: () => {
        name.hidden = choice.value !== newList;
        if (!name.hidden) name.focus();
      },
    },
    ...[...new Set([...lists(), task.list])].map((list) =>
      el("option", { value: list, selected: list === task.list, text: list })),
    el("option", { value: newList, text: "New list…" }));
  return { node: el("div", { class: "row" }, el("label", { class: "label", for: "list", text: "List" }),
    el("span", { class: "select" }, choice), name),
    value: () => (choice.value === newList ? name.value : choice.value) };
}

function statusChoice(task) {
  const boxes = statuses.map((status) =>
    el("label", { class: "segment" },
      el("input", { type: "radio", name: "status", value: status.key, checked: status.key === task.status }),
      el("span", { text: status.title })));
  return el("fieldset", { class: "row" }, el("legend", { class: "label", text: "Progress" }),
    el("div", { class: "segments" }, ...boxes));
}

/** A date or time field that says `unset` while nothing is chosen. */
function whenField(type, id, title, unset, value) {
  const field = el("input", { class: "field", id, type, value, oninput: () => show() });
  const show = () => field.classList.toggle("unset", !field.value);
  show();
  const node = el("div", {}, el("label", { class: "label", for: id, text: title }),
    el("span", { class: "when", "data-unset": unset }, field));
  const set = (text) => {
    field.value = text;
    show();
  };
  return { node, set, value: () => field.value || null };
}

function dueChoice(task) {
  const date = whenField("date", "dueDate", "Due date", "No date", task.dueDate);
  const time = whenField("time", "dueTime", "Time", "All day", task.dueTime);
  const quick = (text, pick) => el("button", { type: "button", class: "chip", text, onclick: pick });
  const node = el("div", { class: "row" },
    el("div", { class: "two" }, date.node, time.node),
    el("div", { class: "chips" },
      quick("Today", () => date.set(today())),
      quick("Tomorrow", () => date.set(addDays(today(), 1))),
      quick("In a week", () => date.set(addDays(today(), 7))),
      quick("No date", () => [date, time].forEach((field) => field.set("")))));
  return { node, value: () => ({ dueDate: date.value(), dueTime: time.value() }) };
}

/** Opens the dialog for `task`, or for a new one of this title and status. `remove` deletes a task. */
export function openEditor({ task, title = "", status = "todo", remove }) {
  const start = task ?? blank(title, status);
  const titleField = el("input", { class: "field title-field", id: "taskTitle", value: start.title, maxlength: 200,
    placeholder: "What is there to do?", "aria-label": "Title", autocomplete: "off", required: true, autofocus: true });
  const notes = el("textarea", { class: "field", id: "notes", rows: 4, maxlength: 5000 });
  notes.value = start.notes;
  const links = el("div", { class: "links" });
  const showLinks = () => {
    const addresses = addressesIn(notes.value);
    links.replaceChildren(...addresses.map((address) => outwardLink(address, readable(address), { class: "link" })));
    links.hidden = addresses.length === 0;
  };
  notes.addEventListener("input", showLinks);
  showLinks();
  const list = listChoice(start);
  const due = dueChoice(start);
  const message = el("p", { class: "message", role: "alert" });
  const save = el("button", { class: "button primary", text: task ? "Save" : "Add task" });

  const form = el("form",
    {
      method: "dialog",
      onsubmit: async (event) => {
        event.preventDefault();
        save.disabled = true;
        const fields = { title: titleField.value, notes: notes.value, list: list.value(),
          status: new FormData(form).get("status"), ...due.value() };
        try {
          await (task ? changeTask(task.id, fields) : addTask(fields));
          dialog.close();
        } catch (error) {
          message.textContent = error.message;
          save.disabled = false;
        }
      },
      onkeydown: (event) => {
        if (event.key === "Enter" && (event.ctrlKey || event.metaKey)) form.requestSubmit();
      },
    },
    el("header", { class: "dialog-head" }, el("h1", { text: task ? "Edit task" : "New task" }),
      iconButton("close", "Close", () => dialog.close())),
    el("div", { class: "dialog-body" },
      el("div", { class: "row" }, titleField),
      labelled("Notes", notes, links),
      el("div", { class: "two" }, list.node, statusChoice(start)),
      due.node,
      message),
    el("footer", { class: "dialog-foot" },
      task && el("button", { type: "button", class: "button danger", text: "Delete", onclick: () => {
        dialog.close();
        remove(task);
      } }),
      el("span", { class: "spring" }),
      el("button", { type: "button", class: "button", text: "Cancel", onclick: () => dialog.close() }),
      save));

  // A stray click beside the dialog must not throw away what was typed.
  const dialog = openDialog({ label: task ? "Edit task" : "New task", className: "editor", content: [form],
    keepOnClickBeside: true });
  titleField.focus();
}
