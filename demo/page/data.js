// The part of the settings in which tasks leave for other programs and come back.

import { CsvError, tasksFrom } from "/csv.js";
import { el } from "/dom.js";
import { importTasks, store } from "/store.js";

const largestFile = 1_000_000; // bytes; what the service takes in one request has room for it
const mostAtOnce = 1000;
const askAbove = 100;

export const counted = (count, noun) => `${count} ${noun}${count === 1 ? "" : "s"}`;

async function tasksIn(file) {
  if (file.size > largestFile) throw new CsvError("is larger than 1 MB");
  const bytes = await file.arrayBuffer().catch(() => {
    throw new CsvError("cannot be read");
  });
  let text;
  try {
    text = new TextDecoder("utf-8", { fatal: true }).decode(bytes);
  } catch {
    throw new CsvError("is not a text in UTF-8");
  }
  return tasksFrom(text);
}

/** Reads all files, then adds what they hold in one go. Returns what to say about it, or "" if nothing was added. */
async function importFiles(files) {
  const tasks = [];
  const problems = [];
  for (const file of files) {
    try {
      tasks.push(...await tasksIn(file));
    } catch (error) {
      if (!(error instanceof CsvError)) throw error;
      problems.push(`“${file.name}” ${error.message}.`);
    }
  }
  if (problems.length > 0) alert(problems.join("\n"));
  if (tasks.length === 0) return "";
  if (tasks.length > mostAtOnce) {
    alert(`These are ${tasks.length} tasks, and ${mostAtOnce} can be imported at once.`);
    return "";
  }
  if (tasks.length > askAbove && !confirm(`Import ${tasks.length} tasks?`)) return "";
  try {
    await importTasks(tasks);
    return `${counted(tasks.length, "task")} imported.`;
  } catch (error) {
    if (error.status === 401) location.assign("/login");
    else alert(error.message);
    return "";
  }
}

/** A link that saves all tasks as they are when it is used. `release` lets go of what it made. */
function jsonLink() {
  const made = [];
  const make = () => {
    const text = JSON.stringify({ exportedAt: new Date().toISOString(), tasks: store.tasks }, null, 2);
    made.push(URL.createObjectURL(new Blob([text], { type: "application/json" })));
    return made.at(-1);
  };
  const link = el("a", { class: "button", id: "export-json", href: make(), download: "brisko tasks.json",
    text: "Export JSON", onclick: () => (link.href = make()) });
  // A download that has just begun still needs its address.
  const release = () => setTimeout(() => made.forEach((url) => URL.revokeObjectURL(url)), 60_000);
  return { link, release };
}

/** The section's elements; `close` is to be called when they go away. */
export function dataSection() {
  const said = el("p", { class: "said", role: "status" });
  const field = el("input", { type: "file", id: "import-csv", accept: ".csv,text/csv", multiple: true,
    onchange: async () => {
      const files = [...field.files];
      field.value = ""; // so that choosing the same file again counts
      said.textContent = "";
      said.textContent = await importFiles(files);
      if (said.textContent) said.scrollIntoView({ block: "nearest" });
    } });
  const { link, release } = jsonLink();
  return {
    nodes: [
      el("div", { class: "setting" },
        el("div", { class: "setting-text" }, el("span", { text: "Export" }),
          el("span", { class: "setting-hint", text: "All your tasks, as a table for spreadsheets or as JSON." })),
        el("a", { class: "button", id: "export-csv", href: "/api/tasks/export.csv", download: "brisko tasks.csv",
          text: "Export CSV" }),
        link),
      el("div", { class: "setting" },
        el("div", { class: "setting-text" }, el("span", { text: "Import" }),
          el("span", { class: "setting-hint", text: "CSV files whose first line names the columns: Title, and if you "
            + "like List, Status, Due date, Due time and Notes." }),
          said),
        el("label", { class: "button file" }, "Import CSV…", field)),
    ],
    close: release,
  };
}
