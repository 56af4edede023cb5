// The text of the model: a text area over a copy of its text that is coloured and underlined.

const KEYWORDS = { formula: /^param$/, script: /^(and|as|class|def|elif|else|for|from|if|import|in|lambda|not|or|return|while|with|yield)$/ };
const TOKEN = /(#[^\n]*)|([A-Za-z_]\w*)|(\d+\.?\d*(?:[eE][+-]?\d+)?|\.\d+(?:[eE][+-]?\d+)?)|("[^"\n]*")/g;
// Beyond this the text is shown without colours.
const MOST_COLOURED = 60000;

const escaped = (text) => text.replace(/&/g, "&amp;").replace(/</g, "&lt;").replace(/>/g, "&gt;");

/** Places of a text in bytes of UTF-8 become places in its string. */
function placesIn(text, problems) {
  const bytes = new TextEncoder().encode(text);
  const characters = (count) => new TextDecoder().decode(bytes.subarray(0, count)).length;
  return problems.map((problem) => {
    if (problem.offset === undefined) return problem;
    let from = Math.min(characters(problem.offset), text.length);
    let to = Math.min(characters(problem.offset + problem.length), text.length);
    // At the end of a text or a line there is nothing to underline: the character before it is.
    if (to === from) to = Math.min(from + 1, text.length);
    if (text.slice(from, to).trim() === "") from = Math.max(0, text.slice(0, from + 1).trimEnd().length - 1);
    return { ...problem, from, to: Math.max(to, from + 1), line: text.slice(0, from).split("\n").length };
  });
}

export class Editor {
  /** `onEdit` is called with each change that the user makes. */
  constructor(onEdit) {
    this.source = document.getElementById("source");
    this.marks = document.getElementById("marks");
    this.gutter = document.getElementById("gutter");
    this.list = document.getElementById("problems");
    this.notation = "formula";
    this.problems = [];
    this.source.addEventListener("input", () => {
      this.problems = [];
      this.colour();
      onEdit();
    });
    this.source.addEventListener("scroll", () => this.follow());
    this.source.addEventListener("keydown", (event) => this.indent(event, onEdit));
  }

  get text() {
    return this.source.value;
  }

  open(text, notation) {
    const { selectionStart, scrollTop } = this.source;
    this.notation = notation;
    this.source.value = text;
    this.source.readOnly = notation === "script";
    this.source.setSelectionRange(selectionStart, selectionStart);
    this.source.scrollTop = scrollTop;
    this.colour();
  }

  /** Underlines problems, as the program tells them, and lists them. */
  showProblems(problems) {
    this.problems = placesIn(this.text, problems);
    this.list.replaceChildren(...this.problems.map((problem) => this.entry(problem)));
    this.colour();
  }

  entry(problem) {
    const item = document.createElement("li");
    item.className = problem.severity;
    if (problem.line) {
      const line = document.createElement("b");
      line.textContent = `line ${problem.line}`;
      item.append(line);
      item.addEventListener("click", () => {
        this.source.focus();
        this.source.setSelectionRange(problem.from, problem.to);
      });
    }
    item.append(problem.sentence);
    return item;
  }

  indent(event, onEdit) {
    if (event.key !== "Tab" || event.shiftKey || event.ctrlKey || this.source.readOnly) return;
    event.preventDefault();
    this.source.setRangeText("  ", this.source.selectionStart, this.source.selectionEnd, "end");
    this.colour();
    onEdit();
  }

  colour() {
    const text = this.text;
    const cuts = this.problems.filter((problem) => problem.from !== undefined).sort((a, b) => a.from - b.from);
    let html = "";
    let place = 0;
    for (const { from, to, severity } of cuts) {
      if (from < place) continue;
      html += this.coloured(text.slice(place, from)) + `<span class="${severity}">${this.coloured(text.slice(from, to))}</span>`;
      place = to;
    }
    this.marks.innerHTML = html + this.coloured(text.slice(place)) + "\n";
    const lines = text.split("\n").length;
    if (lines !== this.lines) this.gutter.textContent = Array.from({ length: lines }, (_, i) => i + 1).join("\n") + "\n";
    this.lines = lines;
    this.follow();
  }

  coloured(text) {
    if (this.notation === "expression" || this.text.length > MOST_COLOURED) return escaped(text);
    const keywords = KEYWORDS[this.notation];
    let html = "";
    let place = 0;
    for (const match of text.matchAll(TOKEN)) {
      const [token, comment, word, number] = match;
      const isCall = word && text[match.index + token.length] === "(";
      const kind = comment ? "comment" : number ? "number" : keywords && keywords.test(word) ? "keyword" : isCall ? "word" : "";
      html += escaped(text.slice(place, match.index));
      html += kind ? `<span class="${kind}">${escaped(token)}</span>` : escaped(token);
      place = match.index + token.length;
    }
    return html + escaped(text.slice(place));
  }

  follow() {
    this.marks.scrollTop = this.gutter.scrollTop = this.source.scrollTop;
    this.marks.scrollLeft = this.source.scrollLeft;
  }
}
