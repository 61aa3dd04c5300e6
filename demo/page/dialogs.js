// Dialogs over the page, and the line at its foot that says what has just happened.

import { el } from "/dom.js";

/**
 * Shows `content` (a list of elements) in a modal dialog and returns it; it is removed when it closes. A click beside
 * it closes it unless `keepOnClickBeside` is set.
 */
export function openDialog({ label, className, content, keepOnClickBeside, onClose }) {
  const dialog = el("dialog", { class: `dialog ${className}`, "aria-label": label, tabindex: -1 }, ...content);
  dialog.addEventListener("mousedown", (event) => {
    if (event.target === dialog && !keepOnClickBeside) dialog.close();
  });
  dialog.addEventListener("close", () => {
    dialog.remove();
    onClose?.();
  });
  document.body.append(dialog);
  dialog.showModal();
  dialog.focus();
  return dialog;
}

/** The dialog that is open, or null. */
export const currentDialog = () => document.querySelector("dialog[open]");

let timer = 0;

/** Says something for a few seconds, with an action to take it back if `undo` is given. */
export function say(text, undo) {
  const line = document.getElementById("toast");
  const hide = () => {
    clearTimeout(timer);
    line.hidden = true;
  };
  line.replaceChildren(el("span", { text }));
  if (undo)
    line.append(el("button", {
      type: "button",
      text: "Undo",
      onclick: () => {
        hide();
        attempt(undo());
      },
    }));
  line.hidden = false;
  clearTimeout(timer);
  timer = setTimeout(hide, 6000);
}

/** Waits for something asked of the service and says so when it fails; goes to sign in when the session has ended. */
export async function attempt(work) {
  try {
    return await work;
  } catch (error) {
    if (error.status === 401) location.assign("/login");
    else say(error.message);
    return undefined;
  }
}
