// The part of the settings that is about this computer: reminders and the lock. Only the desktop program has it.

import { el } from "/dom.js";
import { counted } from "/data.js";
import { native, refusal } from "/native.js";
import { allowReminders, reminderStatus } from "/reminders.js";
import { store } from "/store.js";

const reminderTexts = {
  granted: "On. You are told when a task with a time is due, even while brisko is closed.",
  prompt: "brisko can tell you when a task with a time is due, even while it is closed.",
  denied: "Off. This computer does not let brisko show notifications; its own settings can change that.",
};

/** One setting: a title, a line below that explains its state, and a control. It is hidden until it is filled. */
function setting(title, control, id) {
  const hint = el("span", { class: "setting-hint", id });
  const node = el("div", { class: "setting", hidden: true },
    el("div", { class: "setting-text" }, title, hint), control);
  return { node, hint };
}

/** Runs `work`, which may wait for the person for minutes, with the control switched off meanwhile. */
async function busily(control, hint, work) {
  const hadFocus = document.activeElement === control;
  control.disabled = true;
  let problem = "";
  try {
    await work();
  } catch (error) {
    problem = refusal(error);
  }
  control.disabled = false;
  if (hadFocus && document.activeElement === document.body) control.focus();
  if (problem) hint.textContent = problem;
}

function reminderSetting() {
  const button = el("button", { type: "button", class: "button", text: "Allow reminders", onclick: () =>
    busily(button, hint, async () => {
      // A question that was put off counts as refused, but may be asked again.
      await allowReminders();
      show(await reminderStatus());
    }) });
  const { node, hint } = setting(el("span", { text: "Reminders" }), button, "reminders-state");
  const show = (status) => {
    hint.textContent = reminderTexts[status];
    button.hidden = status !== "prompt";
    node.hidden = false;
  };
  return { node, refresh: async () => show(await reminderStatus()) };
}

function lockSetting() {
  const box = el("input", { type: "checkbox", class: "switch", role: "switch", id: "lock-enabled",
    "aria-describedby": "lock-state", onchange: () => {
      const enabled = box.checked;
      // The switch stands where the computer says it does, not where it was pushed to.
      box.checked = !enabled;
      hint.textContent = enabled ? "Waiting for this computer to ask you…" : "";
      busily(box, hint, async () => {
        show(await native.setLockEnabled({ enabled }));
        hint.textContent = "";
      });
    } });
  const { node, hint } = setting(
    el("label", { for: "lock-enabled", text: "Ask for this computer's password when brisko comes to the front" }), box,
    "lock-state");
  const show = ({ enabled }) => (box.checked = enabled);
  const refresh = async () => {
    const { available } = await native.biometryAvailable();
    if (available && !box.disabled) show(await native.lockEnabled());
    node.hidden = !available;
  };
  return { node, refresh };
}

function summaryText({ hasPasscode, digits, autoLock, minutes }) {
  if (!hasPasscode) return "No passcode";
  return `Passcode: ${digits} digits, ${autoLock ? `locks after ${counted(minutes, "minute")}` : "does not lock by itself"}`;
}

function passcodeSetting(refreshAll) {
  const button = el("button", { type: "button", class: "button", text: "Lock & passcode…", onclick: () =>
    busily(button, hint, async () => {
      await native.openLockSettings({ username: store.settings.username }).finally(refreshAll);
    }) });
  const { node, hint } = setting(el("span", { text: "Lock" }), button, "lock-summary");
  const refresh = async () => {
    hint.textContent = summaryText(await native.lockSummary());
    node.hidden = false;
  };
  return { node, refresh };
}

/** The section's elements, none where there is no desktop program. */
export function computerSection() {
  if (!native) return [];
  // What the program does not answer stays hidden; the other settings do not depend on it.
  const refreshAll = () => Promise.allSettled(settings.map(({ refresh }) => refresh()));
  const settings = [reminderSetting(), lockSetting(), passcodeSetting(refreshAll)];
  refreshAll();
  return [el("h2", { text: "This computer" }), ...settings.map(({ node }) => node)];
}
