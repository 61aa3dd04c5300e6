// Hands the due times to the computer, which announces them whether this page is open or not.

import { today } from "/dates.js";
import { native } from "/native.js";
import { onChange, store } from "/store.js";

const settleTime = 800; // ms; changes often come in rows

let status = null; // "granted", "denied" or "prompt", as far as is known
let told = null; // what the computer was told last
let timer = 0;
let dropped = false;

/** The moment at which the task is due, in ms since 1970 (UTC); NaN for a task without a day or a time. */
const dueMoment = ({ dueDate, dueTime }) => (dueDate && dueTime ? new Date(`${dueDate}T${dueTime}`).getTime() : NaN);

/** The reminders of the tasks that are open and due at a time that is still to come. */
export const remindersOf = (tasks, now) =>
  tasks.filter((task) => task.status !== "done" && dueMoment(task) > now)
    .map((task) => ({ id: task.id, title: task.title, at: dueMoment(task), body: task.list }));

async function tell() {
  if (status !== "granted" || dropped) return;
  const items = remindersOf(store.tasks, Date.now());
  // The computer counts what is due today, so a new day is news even if the tasks are the same.
  const news = JSON.stringify([today(), items]);
  if (news === told) return;
  told = news;
  try {
    await native.syncReminders({ items });
  } catch {
    if (told === news) told = null; // the next change, or the next minute, tries again
  }
}

function tellSoon() {
  clearTimeout(timer);
  timer = setTimeout(tell, settleTime);
}

function learn(answer) {
  status = answer.status;
  tellSoon();
  return status;
}

/** Asks whether reminders may be shown. The person may change their mind outside this page at any time. */
export const reminderStatus = async () => learn(await native.notificationStatus());

/** Lets the computer ask the person, which may take minutes. */
export const allowReminders = async () => learn(await native.requestNotifications());

/** Keeps the computer's reminders the same as the tasks from now on. */
export function followReminders() {
  if (!native) return;
  const look = () => reminderStatus().catch(() => {});
  onChange(tellSoon);
  window.addEventListener("focus", look);
  setInterval(tellSoon, 60_000);
  look();
}

/**
 * Takes all reminders back: nobody's tasks are to be announced after they have signed out. The permission does not
 * matter: what was taken while there was one may be announced when there is one again.
 */
export function dropReminders() {
  if (!native) return;
  dropped = true;
  native.syncReminders({ items: [] }).catch(() => {});
}
