// The web addresses that people write into notes.

import { el, icon } from "/dom.js";

const pattern = /\bhttps?:\/\/[^\s<>"“”«»]+/gi;
const host = /:\/\/[^/?#]*[\p{L}\p{N}]/u;

/** Leaves out what ends the sentence around the address, and a bracket that was opened before it. */
function withoutEnd(address) {
  const shorter = address.replace(/[.,;:!?'’*_]+$/, "");
  const last = shorter.at(-1);
  const opening = { ")": "(", "]": "[", "}": "{" }[last];
  if (opening && shorter.split(opening).length < shorter.split(last).length) return withoutEnd(shorter.slice(0, -1));
  return shorter;
}

/** The addresses in the text, each once, in order. */
export function addressesIn(text) {
  const found = (text.match(pattern) ?? []).map(withoutEnd).filter((address) => host.test(address));
  return [...new Set(found)];
}

/** A link that opens in the person's browser, shown as `text`. */
export const outwardLink = (address, text, properties = {}) =>
  el("a", { href: address, target: "_blank", rel: "noopener", title: address, ...properties }, icon("outward"),
    el("span", { class: "link-text", text }));

/** The address as people read it. */
export const readable = (address) => address.replace(/^https?:\/\//i, "").replace(/\/$/, "");
