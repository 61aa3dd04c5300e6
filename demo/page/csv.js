// Reading tasks from comma-separated values (RFC 4180), as the export writes them or a spreadsheet does.

/** Why a text cannot be read as tasks; the message goes on from the file's name: "has no column …". */
export class CsvError extends Error {}

/** The table's rows: the cells of each, and the line on which it begins. Lines may end in CR LF, LF or CR. */
export function rowsOf(text) {
  const rows = [];
  let at = text.startsWith("\uFEFF") ? 1 : 0;
  let line = 1;

  const quotedCell = () => {
    const start = line;
    let cell = "";
    for (at += 1; at < text.length; at += 1) {
      if (text[at] === "\"" && text[at + 1] !== "\"") {
        at += 1;
        return cell;
      }
      if (text[at] === "\"") at += 1;
      if (text[at] === "\n") line += 1;
      cell += text[at];
    }
    throw new CsvError(`has a quotation mark in line ${start} that is never closed`);
  };
  const plainCell = () => {
    const start = at;
    while (at < text.length && !",\r\n\"".includes(text[at])) at += 1;
    return text.slice(start, at);
  };

  while (at < text.length) {
    const row = { line, cells: [] };
    do {
      if (row.cells.length > 0) at += 1; // the comma
      row.cells.push(text[at] === "\"" ? quotedCell() : plainCell());
    } while (text[at] === ",");
    if (at < text.length && !"\r\n".includes(text[at]))
      throw new CsvError(`has a quotation mark out of place in line ${line}`);
    at += text.startsWith("\r\n", at) ? 2 : 1;
    line += 1;
    rows.push(row);
  }
  return rows;
}

const fields = { title: "title", list: "list", status: "status", duedate: "dueDate", duetime: "dueTime", notes: "notes" };
const statuses = { todo: "todo", inprogress: "doing", doing: "doing", done: "done" };

const word = (text) => text.toLowerCase().replace(/[\s_-]/g, "");

/** Takes off the apostrophe with which the export keeps a cell from being run as a formula. */
const original = (cell) => (/^'+[=+\-@\t\r\n]/.test(cell) ? cell.slice(1) : cell).replace(/\r\n?/g, "\n");

const readers = {
  title: (text) => text,
  list: (text) => text,
  notes: (text) => text,
  status: (text, line) => {
    if (statuses[word(text)]) return statuses[word(text)];
    throw new CsvError(`says “${text}” in line ${line} where it should say “To do”, “In progress” or “Done”`);
  },
  dueDate: (text, line) => {
    if (/^\d{4}-\d\d-\d\d$/.test(text)) return text;
    throw new CsvError(`says “${text}” in line ${line} where there should be a day like 2026-12-24`);
  },
  dueTime: (text, line) => {
    const [, hour, minute] = /^(\d\d?):(\d\d)(?::\d\d)?$/.exec(text) ?? [];
    if (hour) return `${hour.padStart(2, "0")}:${minute}`;
    throw new CsvError(`says “${text}” in line ${line} where there should be a time like 09:30`);
  },
};

function taskOf({ cells, line }, columns) {
  if (cells.length > columns.length) throw new CsvError(`has more cells in line ${line} than it has columns`);
  const task = {};
  columns.forEach((field, n) => {
    const text = original(cells[n] ?? "");
    if (field && text.trim()) task[field] = readers[field](field === "notes" ? text : text.trim(), line);
  });
  if (!task.title) throw new CsvError(`has no title in line ${line}`);
  return task;
}

/** The fields of each task in the table, for the service to add. Throws CsvError. */
export function tasksFrom(text) {
  const [head, ...rows] = rowsOf(text);
  const columns = (head?.cells ?? []).map((cell) => fields[word(cell)]);
  if (!columns.includes("title"))
    throw new CsvError(/^[^,\n]*[;\t]/.test(text) ? "is not separated by commas" : "has no column “Title” in its first line");
  const filled = rows.filter(({ cells }) => cells.some((cell) => cell.trim()));
  if (filled.length === 0) throw new CsvError("holds no tasks");
  return filled.map((row) => taskOf(row, columns));
}
