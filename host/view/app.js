// Brings the parts of the page together: what the user changes becomes a mesh, coarse at once and fine soon after.

import { Editor } from "/editor.js";
import { counted, makeSegments, measureRows, meshRows, showFacts, shown, Sliders } from "/panels.js";
import { Scene } from "/scene.js";
import { Cancelled, fetchMesh, getJson, measure, Problems } from "/transport.js";

const at = (id) => document.getElementById(id);
const TYPING = 120; // ms from the last key to the next mesh
const QUICK = 250; // ms of a fine mesh that needs no coarse one before it
const GLANCE = 100; // ms that a coarse mesh may take
const LOOKING = 400; // ms between looks at the file

class App {
  constructor(model) {
    this.model = model;
    this.fileText = model.text;
    this.scene = new Scene(at("canvas"));
    this.editor = new Editor(() => this.onEdit());
    this.sliders = new Sliders(() => this.change());
    this.sliders.values = { ...model.values };
    this.mode = "shaded";
    at("name").textContent = model.name.split("/").pop();
    at("name").title = model.name;
    at("notation").textContent = model.notation;
    document.title = `${at("name").textContent} · sfdag view`;
    this.editor.open(model.text, model.notation);
    this.addCells();
    this.addModes();
    this.addSection();
    this.addRuler();
    at("revert").addEventListener("click", () => this.revert());
    at("measure").addEventListener("click", () => this.measureLonger());
    if (model.watching) this.watch();
    this.change();
  }

  // What is asked for.

  query(cells) {
    const query = { values: this.sliders.values, cells, curvature: this.mode === "curvature" };
    if (this.editor.text !== this.fileText) query.text = this.editor.text;
    return query;
  }

  onEdit() {
    at("revert").hidden = this.editor.text === this.fileText;
    clearTimeout(this.typing);
    this.typing = setTimeout(() => this.change(), TYPING);
  }

  revert() {
    this.editor.open(this.fileText, this.model.notation);
    this.onEdit();
  }

  /** Something has changed. A coarse mesh under way, and one that is quick, is shown first; another one is given up. */
  change() {
    this.isDue = true;
    this.fine?.abort();
    if (!this.isBusy) this.work();
  }

  async work() {
    this.isBusy = true;
    while (this.isDue) {
      this.isDue = false;
      try {
        await this.meshOnce();
      } catch (error) {
        this.tell(error);
      }
    }
    this.isBusy = false;
  }

  async meshOnce() {
    const begin = performance.now();
    this.setStatus("busy", "meshing");
    const cells = Number(at("cells").value);
    const coarse = this.coarseCells(cells);
    this.fine = null;
    if (coarse < cells) {
      this.show(await fetchMesh(this.query(coarse)), begin);
      if (this.isDue) return;
      this.fine = new AbortController();
    }
    const mesh = await fetchMesh({ ...this.query(cells), measured: true }, this.fine?.signal);
    this.cost = mesh.head.milliseconds / cells;
    this.show(mesh, begin);
    this.setStatus("ready", counted(mesh.head.triangles, "triangle", "triangles"));
  }

  /**
   * As many as take the time of a glance, by what the last fine mesh took; all where that is quick. Small meshes take longer
   * than the square of their cells would have it.
   */
  coarseCells(cells) {
    if (this.cost * cells <= QUICK) return cells;
    const affordable = this.cost ? GLANCE / this.cost : cells / 2;
    return Math.min(cells, Math.max(16, Math.round(cells / 3), Math.round(affordable)));
  }

  show(mesh, begin) {
    const { head } = mesh;
    this.scene.show(mesh);
    this.cut();
    this.sliders.show(head.parameters);
    this.editor.showProblems(head.problems);
    showFacts("mesh-facts", meshRows(head, this.model.unit, performance.now() - begin));
    if (head.measures) {
      this.measures = head.measures;
      showFacts("measures", measureRows(head.measures, null, this.model.unit));
    }
    this.showLegend();
    Object.assign(document.body.dataset, { triangles: head.triangles, cells: head.cells });
  }

  tell(error) {
    if (error instanceof Cancelled) this.isDue = true;
    if (error instanceof Cancelled || error.name === "AbortError") return;
    if (error instanceof Problems) this.editor.showProblems(error.problems);
    const isLost = error instanceof TypeError;
    this.setStatus("error", error instanceof Problems ? "not a model" : isLost ? "sfdag has ended" : error.message);
  }

  setStatus(state, text) {
    at("status").dataset.state = state;
    at("status").textContent = text;
  }

  // What is seen.

  addCells() {
    const { cells, mostCells } = this.model;
    Object.assign(at("cells"), { max: mostCells, min: Math.min(16, cells), value: cells });
    at("cells-out").textContent = cells;
    at("cells").addEventListener("input", () => {
      at("cells-out").textContent = at("cells").value;
      this.change();
    });
  }

  addModes() {
    const choices = [["shaded", "Shaded"], ["normals", "Normals"], ["curvature", "Curvature"]];
    makeSegments(at("mode"), choices, this.mode, (mode) => {
      this.mode = mode;
      this.scene.setMode(mode);
      this.showLegend();
      if (mode === "curvature") this.change();
    });
    at("wireframe").addEventListener("change", () => this.scene.setWireframe(at("wireframe").checked));
    at("fit").addEventListener("click", () => this.scene.fit());
  }

  showLegend() {
    const scale = this.mode === "curvature" ? this.scene.curvatureScale : null;
    at("legend").hidden = !scale;
    if (!scale) return;
    at("legend-low").textContent = `convex ${shown(-scale, 3)}`;
    at("legend-high").textContent = `${shown(scale, 3)} concave, 1/${this.model.unit}`;
  }

  addSection() {
    this.axis = null;
    const choices = [["", "Off"], ["x", "X"], ["y", "Y"], ["z", "Z"]];
    makeSegments(at("axis"), choices, "", (axis) => {
      this.axis = axis || null;
      at("cut").disabled = at("flip").disabled = !axis;
      this.cut();
    });
    at("cut").addEventListener("input", () => this.cut());
    at("flip").addEventListener("change", () => this.cut());
  }

  cut() {
    const place = this.scene.cut(this.axis, Number(at("cut").value), at("flip").checked);
    at("cut-at").textContent = this.axis ? shown(place) : "";
  }

  addRuler() {
    const canvas = at("canvas");
    let from = null;
    const say = (text) => {
      at("hint").textContent = text;
      at("hint").hidden = !text;
    };
    at("ruler").addEventListener("click", () => {
      const isOn = at("ruler").getAttribute("aria-pressed") !== "true";
      at("ruler").setAttribute("aria-pressed", String(isOn));
      this.scene.clearRuler();
      say(isOn ? "Choose two points of the model" : "");
    });
    canvas.addEventListener("pointerdown", (event) => (from = [event.clientX, event.clientY]));
    canvas.addEventListener("pointerup", (event) => {
      const isClick = from && Math.hypot(event.clientX - from[0], event.clientY - from[1]) < 4;
      if (!isClick || at("ruler").getAttribute("aria-pressed") !== "true") return;
      const point = this.scene.pick(event.clientX, event.clientY);
      if (!point) return;
      const { points, distance } = this.scene.addRulerPoint(point);
      say(distance === null ? points[0].map((each) => shown(each)).join(", ") : `${shown(distance)} ${this.model.unit}`);
    });
  }

  async measureLonger() {
    at("measure").disabled = true;
    try {
      const longer = await measure(this.query(Number(at("cells").value)));
      if (this.measures) showFacts("measures", measureRows(this.measures, longer, this.model.unit));
    } catch (error) {
      this.tell(error);
    }
    at("measure").disabled = false;
  }

  // The file.

  watch() {
    setTimeout(async () => {
      try {
        if ((await getJson("/version")).version !== this.model.version) this.reload(await getJson("/model"));
        if (this.isLost) this.change();
        this.isLost = false;
      } catch (error) {
        this.isLost = true;
        this.tell(error);
      }
      this.watch();
    }, LOOKING);
  }

  /** The file has changed. What the user has typed stays, what the file says is a click away. */
  reload(model) {
    const isEdited = this.editor.text !== this.fileText;
    this.model = model;
    this.fileText = model.text;
    if (!isEdited) this.editor.open(model.text, model.notation);
    at("revert").hidden = this.editor.text === this.fileText;
    this.change();
  }
}

try {
  window.app = new App(await getJson("/model"));
} catch (error) {
  at("status").dataset.state = "error";
  at("status").textContent = error.message;
}
