// The model in space: camera, lights, the mesh in its modes, the section plane and the ruler. z is up.

import * as THREE from "/three/build/three.module.js";
import { OrbitControls } from "/three/examples/jsm/controls/OrbitControls.js";

const SKIN = 0xb9c6d6;
const CUT = 0xe0913f;
const AXES = { x: new THREE.Vector3(1, 0, 0), y: new THREE.Vector3(0, 1, 0), z: new THREE.Vector3(0, 0, 1) };

export class Scene {
  constructor(canvas) {
    this.renderer = new THREE.WebGLRenderer({ canvas, antialias: true, alpha: true, stencil: true });
    this.renderer.setPixelRatio(Math.min(window.devicePixelRatio, 2));
    this.renderer.localClippingEnabled = true;
    this.world = new THREE.Scene();
    this.camera = new THREE.PerspectiveCamera(35, 1, 0.1, 1000);
    this.camera.up.set(0, 0, 1);
    this.controls = new OrbitControls(this.camera, canvas);
    this.controls.addEventListener("change", () => this.draw());
    this.plane = new THREE.Plane(new THREE.Vector3(0, 1, 0), 0);
    this.axis = null;
    this.mode = "shaded";
    this.addLights();
    this.makeMaterials();
    this.makeParts();
    this.size = 0;
    this.origin = new THREE.Vector3();
    this.rulerPoints = [];
    new ResizeObserver(() => this.resize()).observe(canvas.parentElement);
    this.resize();
  }

  addLights() {
    this.world.add(new THREE.HemisphereLight(0xf2f6ff, 0x4a4540, 0.62));
    // These go with the camera.
    const key = new THREE.DirectionalLight(0xffffff, 0.62);
    key.position.set(-0.6, 1, 1);
    const fill = new THREE.DirectionalLight(0xbfd4ff, 0.18);
    fill.position.set(1, -0.3, 0.6);
    this.camera.add(key, fill);
    this.world.add(this.camera);
  }

  makeMaterials() {
    const shared = { side: THREE.DoubleSide, polygonOffset: true, polygonOffsetFactor: 1, polygonOffsetUnits: 1 };
    const paint = { specular: 0x222222, shininess: 28 };
    this.materials = {
      shaded: new THREE.MeshPhongMaterial({ color: SKIN, ...paint, ...shared }),
      normals: new THREE.MeshNormalMaterial(shared),
      curvature: new THREE.MeshPhongMaterial({ vertexColors: THREE.VertexColors, specular: 0x080808, ...shared }),
    };
    this.wire = new THREE.MeshBasicMaterial({ color: 0x10141a, wireframe: true, transparent: true, opacity: 0.35 });
    // The cut is filled where rays through it meet more back faces than front faces behind it.
    const count = (side, operation) =>
      new THREE.MeshBasicMaterial({
        side,
        colorWrite: false,
        depthWrite: false,
        depthTest: false,
        stencilWrite: true,
        stencilFunc: THREE.AlwaysStencilFunc,
        stencilFail: operation,
        stencilZFail: operation,
        stencilZPass: operation,
      });
    this.counters = [
      count(THREE.BackSide, THREE.IncrementWrapStencilOp),
      count(THREE.FrontSide, THREE.DecrementWrapStencilOp),
    ];
    this.capPaint = new THREE.MeshPhongMaterial({
      color: CUT,
      specular: 0,
      side: THREE.DoubleSide,
      stencilWrite: true,
      stencilRef: 0,
      stencilFunc: THREE.NotEqualStencilFunc,
      stencilFail: THREE.ReplaceStencilOp,
      stencilZFail: THREE.ReplaceStencilOp,
      stencilZPass: THREE.ReplaceStencilOp,
    });
  }

  makeParts() {
    this.geometry = new THREE.BufferGeometry();
    this.skin = new THREE.Mesh(this.geometry, this.materials.shaded);
    this.edges = new THREE.Mesh(this.geometry, this.wire);
    this.edges.visible = false;
    this.countings = this.counters.map((material) => new THREE.Mesh(this.geometry, material));
    this.cap = new THREE.Mesh(new THREE.PlaneBufferGeometry(1, 1), this.capPaint);
    this.countings.forEach((mesh) => (mesh.renderOrder = 1));
    this.cap.renderOrder = 2;
    this.cap.onAfterRender = (renderer) => renderer.clearStencil();
    this.skin.renderOrder = 3;
    this.edges.renderOrder = 4;
    this.ruler = new THREE.Group();
    this.ruler.renderOrder = 5;
    this.body = new THREE.Group();
    this.body.add(this.skin, this.edges, ...this.countings, this.cap, this.ruler);
    this.world.add(this.body);
    this.cut(null);
  }

  /** Shows a mesh as transport.js gives them. The camera moves only for the first one, and where the size is another one. */
  show({ head, positions, normals, triangles, curvatures }) {
    this.geometry.dispose();
    this.geometry = new THREE.BufferGeometry();
    this.geometry.setAttribute("position", new THREE.BufferAttribute(positions, 3));
    this.geometry.setAttribute("normal", new THREE.BufferAttribute(normals, 3));
    this.geometry.setIndex(new THREE.BufferAttribute(triangles, 1));
    for (const mesh of [this.skin, this.edges, ...this.countings]) mesh.geometry = this.geometry;
    this.origin.fromArray(head.origin);
    this.box = head.box.map((corner) => new THREE.Vector3().fromArray(corner).sub(this.origin));
    const size = this.box[0].distanceTo(this.box[1]);
    if (Math.abs(size - this.size) > 0.5 * this.size) this.fit(size);
    this.size = size;
    this.curvatureScale = curvatures ? this.colourBy(curvatures) : null;
    this.setMode(this.mode);
    this.clearRuler();
    this.cut(this.axis, this.fraction, this.isFlipped);
  }

  /** Colours of the mean curvature: blue convex, red concave. Returns the curvature of the full colours. */
  colourBy(curvatures) {
    const sample = [];
    for (let i = 0; i < curvatures.length; i += 1 + (curvatures.length >> 13))
      if (Number.isFinite(curvatures[i])) sample.push(Math.abs(curvatures[i]));
    sample.sort((a, b) => a - b);
    const scale = sample[Math.floor(0.95 * (sample.length - 1))] || 1;
    const colours = new Float32Array(3 * curvatures.length);
    const ends = [[0.18, 0.44, 0.82], [0.84, 0.27, 0.24]];
    for (let i = 0; i < curvatures.length; ++i) {
      const value = Number.isFinite(curvatures[i]) ? Math.max(-1, Math.min(1, curvatures[i] / scale)) : 0;
      const end = ends[value < 0 ? 0 : 1];
      const weight = Math.sqrt(Math.abs(value));
      for (let k = 0; k < 3; ++k) colours[3 * i + k] = 0.91 + weight * (end[k] - 0.91);
    }
    this.geometry.setAttribute("color", new THREE.BufferAttribute(colours, 3));
    return scale;
  }

  setMode(mode) {
    this.mode = mode;
    const isReady = mode !== "curvature" || this.geometry.getAttribute("color");
    this.skin.material = this.materials[isReady ? mode : "shaded"];
    this.draw();
  }

  setWireframe(isShown) {
    this.edges.visible = isShown;
    this.draw();
  }

  /** Cuts the model by a plane across an axis, at a fraction of its box; null for no plane. Returns the plane's coordinate. */
  cut(axis, fraction = 0.5, isFlipped = false) {
    Object.assign(this, { axis, fraction, isFlipped });
    const isCut = axis !== null && this.box !== undefined;
    const planes = isCut ? [this.plane] : null;
    for (const material of [...Object.values(this.materials), this.wire, ...this.counters]) material.clippingPlanes = planes;
    this.cap.visible = isCut;
    this.countings.forEach((mesh) => (mesh.visible = isCut));
    let at = 0;
    if (isCut) {
      at = this.box[0][axis] + fraction * (this.box[1][axis] - this.box[0][axis]);
      const normal = AXES[axis];
      this.plane.normal.copy(normal).multiplyScalar(isFlipped ? 1 : -1);
      this.plane.constant = isFlipped ? -at : at;
      this.cap.scale.set(2 * this.size, 2 * this.size, 1);
      this.cap.position.copy(normal).multiplyScalar(at);
      this.cap.lookAt(normal.clone().multiplyScalar(at + 1));
    }
    this.draw();
    return at + (isCut ? this.origin[axis] : 0);
  }

  /** Looks at the whole model from the front, the right and above. */
  fit(size = this.size) {
    if (!size) return;
    const reach = (0.5 * size) / Math.sin((Math.min(1, this.camera.aspect) * this.camera.fov * Math.PI) / 360);
    this.controls.target.set(0, 0, 0);
    this.camera.position.set(0.5, -0.75, 0.45).normalize().multiplyScalar(1.04 * reach);
    this.camera.near = size / 200;
    this.camera.far = size * 20;
    this.camera.updateProjectionMatrix();
    this.controls.update();
    this.draw();
  }

  /** The point of the model under a place of the window, or null. */
  pick(clientX, clientY) {
    const bounds = this.renderer.domElement.getBoundingClientRect();
    const place = new THREE.Vector2(
      (2 * (clientX - bounds.left)) / bounds.width - 1,
      1 - (2 * (clientY - bounds.top)) / bounds.height);
    const caster = new THREE.Raycaster();
    caster.setFromCamera(place, this.camera);
    const isShown = (hit) => !this.skin.material.clippingPlanes || this.plane.distanceToPoint(hit.point) >= 0;
    const hit = caster.intersectObject(this.skin).find(isShown);
    return hit ? hit.point : null;
  }

  /** Adds a point of the ruler; a third one begins anew. Returns { points, distance }, the distance null for one point. */
  addRulerPoint(point) {
    if (this.rulerPoints.length === 2) this.clearRuler();
    this.rulerPoints.push(point);
    const paint = { color: 0xffd166, depthTest: false };
    const dot = new THREE.Mesh(new THREE.SphereBufferGeometry(this.size / 160, 16, 12), new THREE.MeshBasicMaterial(paint));
    dot.position.copy(point);
    dot.renderOrder = 5;
    this.ruler.add(dot);
    const [a, b] = this.rulerPoints;
    if (b) {
      const line = new THREE.Line(new THREE.BufferGeometry().setFromPoints([a, b]), new THREE.LineBasicMaterial(paint));
      line.renderOrder = 5;
      this.ruler.add(line);
    }
    this.draw();
    return {
      points: this.rulerPoints.map((each) => each.clone().add(this.origin).toArray()),
      distance: b ? a.distanceTo(b) : null,
    };
  }

  clearRuler() {
    this.rulerPoints = [];
    for (const part of [...this.ruler.children]) {
      this.ruler.remove(part);
      part.geometry.dispose();
      part.material.dispose();
    }
    this.draw();
  }

  resize() {
    const { clientWidth: width, clientHeight: height } = this.renderer.domElement.parentElement;
    if (width === 0 || height === 0) return;
    this.renderer.setSize(width, height, false);
    this.camera.aspect = width / height;
    this.camera.updateProjectionMatrix();
    this.draw();
  }

  /** With the next frame of the window, however often it is asked for. */
  draw() {
    if (this.isDue) return;
    this.isDue = true;
    requestAnimationFrame(() => {
      this.isDue = false;
      this.renderer.render(this.world, this.camera);
    });
  }
}
