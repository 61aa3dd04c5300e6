// Building elements. Texts go in as text nodes, never as markup.

/**
 * Makes an element. Property names: "class", "text", "style" (an object of custom properties), "onclick" and the like
 * for listeners, anything else is an attribute; true stands for an empty attribute, false and null for none.
 */
export function el(tag, properties = {}, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (value === false || value === null || value === undefined) continue;
    if (name === "class") node.className = value;
    else if (name === "text") node.textContent = value;
    else if (name === "style") Object.entries(value).forEach(([key, v]) => node.style.setProperty(key, v));
    else if (name.startsWith("on")) node.addEventListener(name.slice(2), value);
    else node.setAttribute(name, value === true ? "" : value);
  }
  node.append(...children.filter((child) => child !== null && child !== undefined && child !== false));
  return node;
}

const svg = "http://www.w3.org/2000/svg";

const shapes = {
  all: "M4 6h16M4 12h16M4 18h10",
  today: "M5 5h14v15H5zM5 10h14M9 3v4M15 3v4",
  upcoming: "M12 3a9 9 0 1 0 0 18 9 9 0 0 0 0-18M12 7v5l3.5 2",
  list: "M9 6h11M9 12h11M9 18h11M4.5 6h.01M4.5 12h.01M4.5 18h.01",
  board: "M4 5h4.5v14H4zM10 5h4.5v9H10zM16 5h4v6h-4z",
  search: "M11 4a7 7 0 1 0 0 14 7 7 0 0 0 0-14M20 20l-4-4",
  plus: "M12 5v14M5 12h14",
  check: "M5 12.5l4.5 4.5L19 7.5",
  edit: "M4 20h4L19 9l-4-4L4 16zM13 7l4 4",
  trash: "M5 7h14M10 7V4h4v3M7 7l1 13h8l1-13",
  left: "M14 6l-6 6 6 6",
  right: "M10 6l6 6-6 6",
  close: "M6 6l12 12M18 6L6 18",
  settings: "M4 7h9M17 7h3M4 17h3M11 17h9M15 4.5a2.5 2.5 0 1 0 0 5 2.5 2.5 0 0 0 0-5M9 14.5a2.5 2.5 0 1 0 0 5 2.5 2.5 0 0 0 0-5",
  leave: "M10 4H5v16h5M14 8l4 4-4 4M18 12H9",
  note: "M5 6h14M5 12h14M5 18h8",
  outward: "M10 6H5v13h13v-5M13.5 5H19v5.5M18.5 5.5L11 13",
};

/** A line drawing of 24 by 24 units that takes the colour of the text around it; silent to assistive technology. */
export function icon(name) {
  const picture = document.createElementNS(svg, "svg");
  picture.setAttribute("viewBox", "0 0 24 24");
  picture.setAttribute("class", "icon");
  picture.setAttribute("aria-hidden", "true");
  const path = document.createElementNS(svg, "path");
  path.setAttribute("d", shapes[name]);
  picture.append(path);
  return picture;
}

/** A button that shows only a drawing; `label` is its name and its tooltip. */
export function iconButton(name, label, onclick, properties = {}) {
  return el("button", { type: "button", class: "icon-button", "aria-label": label, title: label, onclick, ...properties },
    icon(name));
}

/**
 * Runs `draw`, which replaces parts of the page, and puts the keyboard focus back on the element with the same
 * data-key, so that drawing afresh does not throw anybody out of where they were.
 */
export function keepingFocus(draw) {
  const key = document.activeElement?.dataset?.key;
  draw();
  if (key && document.activeElement?.dataset?.key !== key) {
    const again = [...document.querySelectorAll("[data-key]")].find((node) => node.dataset.key === key);
    again?.focus({ preventScroll: true });
  }
}
