// What the page knows: the account's tasks and settings, and which of the tasks are being looked at.

import { request } from "/api.js";
import { byDue, daysAway } from "/dates.js";

export const statuses = [
  { key: "todo", title: "To do" },
  { key: "doing", title: "In progress" },
  { key: "done", title: "Done" },
];

export const scopes = [
  { key: "all", title: "All tasks", has: () => true },
  { key: "today", title: "Today", has: (task) => task.dueDate && daysAway(task.dueDate) <= 0 },
  { key: "upcoming", title: "Upcoming", has: (task) => task.dueDate && daysAway(task.dueDate) > 0 },
];

export const store = {
  tasks: [],
  settings: null,
  scope: "all", // a key of `scopes`, or "list:" and a list's name
  filter: "",
};

const listeners = [];

/** Calls `listener` after every change. */
export function onChange(listener) {
  listeners.push(listener);
}

function changed() {
  listeners.forEach((listener) => listener());
}

export async function load() {
  const [settings, { tasks }] = await Promise.all([request("GET", "/api/settings"), request("GET", "/api/tasks")]);
  store.settings = settings;
  store.tasks = tasks;
  changed();
}

export async function addTask(fields) {
  const task = await request("POST", "/api/tasks", fields);
  store.tasks.push(task);
  changed();
  return task;
}

export async function changeTask(id, fields) {
  const task = await request("PATCH", `/api/tasks/${id}`, fields);
  store.tasks = store.tasks.map((old) => (old.id === id ? task : old));
  changed();
  return task;
}

export async function removeTask(id) {
  await request("DELETE", `/api/tasks/${id}`);
  store.tasks = store.tasks.filter((task) => task.id !== id);
  changed();
}

/** Adds all tasks or none. */
export async function importTasks(list) {
  const { tasks } = await request("POST", "/api/tasks/import", { tasks: list });
  store.tasks.push(...tasks);
  changed();
}

export async function removeTasks(ids) {
  await request("POST", "/api/tasks/delete", { ids });
  store.tasks = store.tasks.filter((task) => !ids.includes(task.id));
  changed();
}

export async function changeSettings(fields) {
  store.settings = await request("PATCH", "/api/settings", fields);
  changed();
}

export function look(scope) {
  store.scope = scope;
  store.filter = "";
  changed();
}

export function filter(text) {
  store.filter = text;
  changed();
}

// Every list that has been there since the page was opened: deleting tasks neither moves nor recolours the others.
const known = ["Inbox"];

/** The names of the lists: the inbox first, then each list that has a task or is being looked at, oldest first. */
export function lists() {
  const oldestFirst = [...store.tasks].sort((a, b) => a.id - b.id);
  known.push(...new Set(oldestFirst.map((task) => task.list).filter((name) => !known.includes(name))));
  const used = new Set(["Inbox", currentList(), ...oldestFirst.map((task) => task.list)]);
  return known.filter((name) => used.has(name));
}

const hues = [248, 28, 160, 330, 200, 52, 285, 105, 0];

/** The colour of a list's dot. */
export function listColor(name) {
  if (!known.includes(name)) lists();
  const hue = hues[Math.max(known.indexOf(name), 0) % hues.length];
  return `hsl(${hue}, 62%, var(--dot-light))`;
}

/** The list that is being looked at, or null for one of the scopes. */
export const currentList = () => (store.scope.startsWith("list:") ? store.scope.slice(5) : null);

export const scopeTitle = () => currentList() ?? scopes.find((scope) => scope.key === store.scope).title;

export function tasksIn(scope) {
  if (scope.startsWith("list:")) return store.tasks.filter((task) => task.list === scope.slice(5));
  return store.tasks.filter(scopes.find((candidate) => candidate.key === scope).has);
}

/** Whether every word of the query is somewhere in the task. */
export function matches(task, query) {
  const text = `${task.title}\n${task.notes}\n${task.list}`.toLowerCase();
  return query.toLowerCase().split(/\s+/).every((word) => text.includes(word));
}

/** The tasks to show, in the order to show them. */
export const visibleTasks = () => tasksIn(store.scope).filter((task) => matches(task, store.filter)).sort(byDue);
