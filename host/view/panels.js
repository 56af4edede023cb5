// The panels beside the model: sliders, facts, choices.

const make = (tag, properties = {}, ...children) => {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
};

/** A number with thin groups of thousands, and a sign as wide as a digit. */
const grouped = (number, options) => number.toLocaleString("en", options).replace(/,/g, "\u2009").replace("-", "\u2212");

/** A number in a few digits. */
export function shown(value, digits = 5) {
  if (value === null || !Number.isFinite(value)) return "–";
  const rounded = Number(value.toPrecision(digits));
  if (rounded !== 0 && (Math.abs(rounded) < 1e-3 || Math.abs(rounded) >= 1e7)) return rounded.toExponential(3);
  return grouped(rounded, { maximumSignificantDigits: digits });
}

/** A number of things, exactly: "1 cavity", "2 cavities". */
export const counted = (count, one, many) => `${grouped(count)} ${count === 1 ? one : many}`;

/** Buttons of which one is chosen. `onChoose` is given its value. */
export function makeSegments(element, choices, chosen, onChoose) {
  const choose = (value) => {
    for (const button of element.children) button.setAttribute("aria-checked", String(button.dataset.value === value));
  };
  element.replaceChildren(
    ...choices.map(([value, label]) => {
      const button = make("button", { type: "button", textContent: label });
      button.dataset.value = value;
      button.setAttribute("role", "radio");
      button.addEventListener("click", () => {
        choose(value);
        onChoose(value);
      });
      return button;
    }));
  choose(chosen);
}

/** The range of a slider: that of the text, or one around the value. */
function rangeOf({ value, low, high }) {
  const reach = Math.abs(value) || 1;
  return [low ?? Math.min(0, value - reach), high ?? Math.max(0, value + reach)];
}

/** Sliders for the parameters of a model. */
export class Sliders {
  constructor(onChange) {
    this.element = document.getElementById("parameters");
    this.reset = document.getElementById("reset");
    this.values = {};
    this.shape = "";
    this.onChange = onChange;
    this.reset.addEventListener("click", () => {
      this.values = {};
      this.shape = "";
      onChange();
    });
  }

  /** Draws them where they are others than before. */
  show(parameters) {
    const shape = JSON.stringify(parameters);
    if (shape === this.shape) return;
    this.shape = shape;
    for (const name of Object.keys(this.values))
      if (!parameters.some((parameter) => parameter.name === name)) delete this.values[name];
    const empty = make("p", { className: "empty", textContent: "The model has none." });
    this.element.replaceChildren(...(parameters.length ? parameters.map((each) => this.slider(each)) : [empty]));
    this.tellReset();
  }

  tellReset() {
    this.reset.hidden = Object.keys(this.values).length === 0;
  }

  slider(parameter) {
    const [low, high] = rangeOf(parameter);
    const value = this.values[parameter.name] ?? parameter.value;
    const id = `parameter-${parameter.name}`;
    const slider = make("input", { type: "range", id, min: low, max: high, step: (high - low) / 500 || "any", value });
    const number = make("input", { type: "number", step: "any", value: Number(value.toPrecision(6)) });
    number.setAttribute("aria-label", `${parameter.name}, exactly`);
    const take = (given) => {
      this.values[parameter.name] = given;
      this.tellReset();
      this.onChange();
    };
    slider.addEventListener("input", () => {
      const given = Number(Number(slider.value).toPrecision(6));
      number.value = given;
      take(given);
    });
    number.addEventListener("change", () => {
      if (number.value === "" || !Number.isFinite(Number(number.value))) return;
      slider.value = number.value;
      take(Number(number.value));
    });
    const head = make("div", {}, make("label", { htmlFor: id, textContent: parameter.name }), number);
    return make("div", { className: "parameter" }, head, slider);
  }
}

/** Rows of a list of facts: [label, value, note]. */
export function showFacts(id, rows) {
  document.getElementById(id).replaceChildren(
    ...rows.flatMap(([label, value, note]) => {
      const fact = make("dd", { textContent: value });
      if (note) fact.append(make("small", { textContent: note }));
      return [make("dt", { textContent: label }), fact];
    }));
}

/** What is known of a mesh. */
export function meshRows(head, unit, milliseconds) {
  return [
    ["Triangles", grouped(head.triangles)],
    ["Voxel", `${shown(head.voxel)} ${unit}`],
    ["Deviation", `${shown(head.deviation)} ${unit}`],
    ["Time", `${Math.round(milliseconds)} ms`],
  ];
}

const within = (measure, unit) => [`${shown(measure.value)} ${unit}`, `± ${shown(measure.error)}`];

/** What is known of the solid: from the mesh, and from the longer measurement where there has been one. */
export function measureRows(measures, longer, unit) {
  const { volume, area, centre, low, high, topology } = measures;
  const size = Math.hypot(...high.map((end, i) => end - low[i]));
  const settled = (value) => (Math.abs(value) < 1e-5 * size ? 0 : value);
  const rows = [
    ["Volume", ...(longer ? within(longer.volume, `${unit}³`) : [`${shown(volume)} ${unit}³`])],
    ["Area", ...(longer ? within(longer.area, `${unit}²`) : [`${shown(area)} ${unit}²`])],
    ["Size", high.map((end, i) => shown(end - low[i])).join(" × ")],
    ["Centre", centre.map((value) => shown(settled(value), 4)).join(", ")],
    ["Parts", String(topology.components), topology.cavities ? counted(topology.cavities, "cavity", "cavities") : ""],
    ["Genus", topology.genus < 0 ? "–" : String(topology.genus)],
    ["Watertight", topology.watertight ? "yes" : "no"],
  ];
  if (longer?.wall) rows.push(["Thinnest wall", ...within(longer.wall, unit)]);
  return rows;
}
