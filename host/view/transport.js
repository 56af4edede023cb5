// What the page asks the program for.

const page = Math.random().toString(36).slice(2);

/** An answer that says what is wrong with the model. */
export class Problems extends Error {
  constructor(problems) {
    super("the model has problems");
    this.problems = problems;
  }
}

/** The work was given up for newer work. */
export class Cancelled extends Error {}

export async function getJson(path) {
  const answer = await fetch(path);
  if (!answer.ok) throw new Error(`${path}: ${answer.status}`);
  return answer.json();
}

async function post(path, query, signal) {
  const answer = await fetch(path, {
    method: "POST",
    headers: { "Content-Type": "application/json" },
    body: JSON.stringify({ page, ...query }),
    signal,
  });
  if (answer.ok) return answer;
  if (answer.status === 409) throw new Cancelled();
  const told = await answer.json().catch(() => ({}));
  if (told.problems) throw new Problems(told.problems);
  throw new Error(told.error || `${path}: ${answer.status}`);
}

/** The measures that take longer. */
export async function measure(query) {
  return (await post("/measure", query)).json();
}

/**
 * A mesh: { head, positions, normals, triangles, curvatures }, the last one null without curvature. Positions are relative to
 * head.origin.
 */
export async function fetchMesh(query, signal) {
  const bytes = await (await post("/mesh", query, signal)).arrayBuffer();
  const length = new DataView(bytes).getUint32(0, true);
  const head = JSON.parse(new TextDecoder().decode(new Uint8Array(bytes, 4, length)));
  let place = 4 + length;
  const take = (type, count) => {
    const part = new type(bytes, place, count);
    place += part.byteLength;
    return part;
  };
  return {
    head,
    positions: take(Float32Array, 3 * head.vertices),
    normals: take(Float32Array, 3 * head.vertices),
    triangles: take(Uint32Array, 3 * head.triangles),
    curvatures: head.curvature ? take(Float32Array, head.vertices) : null,
  };
}
