// Days are texts "YYYY-MM-DD" and times "HH:MM" on the user's own calendar, without a time zone.

const pad = (number) => String(number).padStart(2, "0");

const toDay = (date) => `${date.getFullYear()}-${pad(date.getMonth() + 1)}-${pad(date.getDate())}`;

// Noon, so that no change to or from summer time moves a sum of days into the neighbouring one.
const toDate = (day) => new Date(`${day}T12:00:00`);

export const today = () => toDay(new Date());

export function addDays(day, count) {
  const date = toDate(day);
  date.setDate(date.getDate() + count);
  return toDay(date);
}

/** How many days `day` is after today; negative for the past. */
export const daysAway = (day) => Math.round((toDate(day) - toDate(today())) / 86_400_000);

const weekday = new Intl.DateTimeFormat("en-GB", { weekday: "long" });
const shortWeekday = new Intl.DateTimeFormat("en-GB", { weekday: "short" });
const dayAndMonth = new Intl.DateTimeFormat("en-GB", { day: "numeric", month: "short" });
const withYear = new Intl.DateTimeFormat("en-GB", { day: "numeric", month: "short", year: "numeric" });
const long = new Intl.DateTimeFormat("en-GB", { weekday: "long", day: "numeric", month: "long" });

export const longDate = (day) => long.format(toDate(day));

function dayName(day) {
  const away = daysAway(day);
  if (away === 0) return "Today";
  if (away === 1) return "Tomorrow";
  if (away === -1) return "Yesterday";
  if (away > 1 && away < 7) return shortWeekday.format(toDate(day));
  return (day.slice(0, 4) === today().slice(0, 4) ? dayAndMonth : withYear).format(toDate(day));
}

/** When the task is due, in a few words; empty for a task without a day. */
export function dueText(task) {
  if (!task.dueDate) return "";
  return task.dueTime ? `${dayName(task.dueDate)}, ${task.dueTime}` : dayName(task.dueDate);
}

export function isOverdue(task) {
  if (!task.dueDate || task.status === "done") return false;
  const now = new Date();
  if (task.dueDate === today()) return Boolean(task.dueTime) && task.dueTime < `${pad(now.getHours())}:${pad(now.getMinutes())}`;
  return task.dueDate < today();
}

/** The days of the list view, in its order: a key, a title, and what stands beside the title. */
export function dayGroups() {
  const now = today();
  const week = [2, 3, 4, 5, 6].map((count) => {
    const day = addDays(now, count);
    return { key: day, title: weekday.format(toDate(day)), aside: dayAndMonth.format(toDate(day)) };
  });
  return [
    { key: "overdue", title: "Overdue", aside: "" },
    { key: now, title: "Today", aside: longDate(now) },
    { key: addDays(now, 1), title: "Tomorrow", aside: longDate(addDays(now, 1)) },
    ...week,
    { key: "later", title: "Later", aside: "" },
    { key: "none", title: "No date", aside: "" },
    { key: "done", title: "Done", aside: "" },
  ];
}

/** The key of the group of dayGroups() that the task belongs to. */
export function dayGroupOf(task) {
  if (task.status === "done") return "done";
  if (!task.dueDate) return "none";
  const away = daysAway(task.dueDate);
  if (away < 0) return "overdue";
  return away < 7 ? task.dueDate : "later";
}

/** Compares tasks by when they are due: earlier first, a day's timeless tasks after its timed ones, undated ones last. */
export function byDue(a, b) {
  const key = (task) => `${task.dueDate ?? "9999-99-99"} ${task.dueTime ?? "99:99"}`;
  return key(a).localeCompare(key(b)) || a.id - b.id;
}
