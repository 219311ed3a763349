// Draws the plots and makes the tables sortable. Colours are properties of the style sheet, so that
// drawings follow the theme, on a screen and on paper, without being drawn again.
"use strict";
(() => {
  const ink = "var(--ink)";
  const soft = "var(--soft)";
  const accent = "var(--accent)";
  const fonts = "system-ui, sans-serif";
  const guide = {
    domainColor: soft, gridColor: "var(--grid)", tickColor: soft, labelColor: ink, titleColor: ink,
    labelFont: fonts, titleFont: fonts, labelFontSize: 12, titleFontSize: 13, titleFontWeight: 500,
  };
  const config = {
    aria: false,
    background: "transparent",
    view: { stroke: "transparent" },
    // Labels stand below their ticks, also at the ends.
    axis: { ...guide, titlePadding: 8, labelFlush: false },
    axisQuantitative: { tickCount: 6, labelOverlap: true, labelSeparation: 6 },
    legend: { ...guide, symbolStrokeColor: accent, symbolFillColor: accent, columnPadding: 14 },
    rule: { color: soft },
    text: { color: ink },
    range: { category: [1, 2, 3, 4, 5, 6, 7, 8].map((k) => `var(--line-${k})`) },
    style: {
      record: { color: accent, fill: accent, opacity: 0.55, size: 22 },
      count: { color: accent, fill: accent },
      interval: { color: accent, stroke: accent, strokeWidth: 2 },
      estimate: { fill: accent, stroke: accent, filled: true, size: 42, opacity: 1 },
      arrowhead: { fill: accent, stroke: accent, filled: true, size: 90, opacity: 1 },
      range: { strokeWidth: 1, opacity: 0.7 },
      group: { filled: true, size: 45, opacity: 1 },
      curve: { color: accent, stroke: accent, strokeWidth: 2 },
      number: { fill: ink, font: fonts, fontSize: 13 },
      reference: { color: soft, stroke: soft, strokeDash: [5, 4], strokeWidth: 1.5 },
    },
  };

  /** Objects of a table that is kept by columns. */
  function rowsOf(columns) {
    const names = Object.keys(columns);
    const count = names.length > 0 ? columns[names[0]].length : 0;
    return Array.from({ length: count }, (_, i) =>
      Object.fromEntries(names.map((name) => [name, columns[name][i]])));
  }

  /** Names are cut where they would leave no room for the plot. */
  function withLimits(width) {
    const most = Math.max(90, Math.round(width * 0.38));
    return { ...config, axis: { ...config.axis, labelLimit: most } };
  }

  /** The size of a plot whose axes are equally long; what stands beside them needs room, too. */
  function squareOf(spec, width) {
    if (!spec.usermeta?.square) return {};
    const side = Math.min(380, width - 80);
    return { width: side, height: side };
  }

  async function draw(holder) {
    const { spec, columns } = JSON.parse(document.getElementById(holder.dataset.plot).textContent);
    const whole = {
      $schema: "https://vega.github.io/schema/vega-lite/v6.json",
      ...spec,
      ...squareOf(spec, holder.clientWidth),
      description: holder.dataset.label,
      datasets: { rows: rowsOf(columns) },
    };
    await vegaEmbed(holder, whole, {
      mode: "vega-lite", renderer: "svg", ast: true, actions: false, defaultStyle: false,
      config: withLimits(holder.clientWidth), tooltip: { disableDefaultStyle: true },
    });
    // One picture with a name: its marks would be read out one by one, and tables tell the numbers.
    holder.setAttribute("role", "img");
    holder.setAttribute("aria-label", holder.dataset.label);
    holder.removeAttribute("aria-roledescription");
    holder.querySelector("svg").setAttribute("aria-hidden", "true");
  }

  async function drawAll() {
    for (const holder of document.querySelectorAll("[data-plot]")) {
      try {
        await draw(holder);
      } catch (error) {
        holder.textContent = "This plot could not be drawn; the sentence below tells what it shows.";
        console.error(error);
      }
    }
    document.documentElement.dataset.plots = "drawn";
  }

  /** The number that a cell shows, the first of an estimate with its limits; NaN for none. */
  function numberOf(text) {
    const digits = text.replace(/ \(.*/, "").replace(/,/g, "").replace(/^</, "").replace(/%$/, "");
    return digits === "" ? NaN : Number(digits);
  }

  /** Compares rows by one column, numbers as numbers; rows without one come last either way. */
  function comparison(rows, column, sign) {
    const texts = new Map(rows.map((row) => [row, row.cells[column].textContent.trim()]));
    const numbers = new Map(rows.map((row) => [row, numberOf(texts.get(row))]));
    const areNumbers = rows.some((row) => !Number.isNaN(numbers.get(row)));
    if (!areNumbers) {
      return (a, b) => sign * texts.get(a).localeCompare(texts.get(b), undefined, { numeric: true });
    }
    return (a, b) => {
      const x = numbers.get(a);
      const y = numbers.get(b);
      if (Number.isNaN(x) || Number.isNaN(y)) return Number.isNaN(x) - Number.isNaN(y);
      return sign * (x - y);
    };
  }

  function sort(button) {
    const heading = button.closest("th");
    const table = heading.closest("table");
    const body = table.tBodies[0];
    const isUp = heading.getAttribute("aria-sort") !== "ascending";
    for (const other of table.tHead.querySelectorAll("th")) other.removeAttribute("aria-sort");
    heading.setAttribute("aria-sort", isUp ? "ascending" : "descending");
    const rows = [...body.rows];
    rows.sort(comparison(rows, heading.cellIndex, isUp ? 1 : -1));
    body.append(...rows);
  }

  /** Folds a long table to its first rows, whatever it is sorted by, with a button that opens it. */
  function fold(table, number) {
    const most = 60;
    const count = table.tBodies[0].rows.length;
    if (count <= most) return;
    table.id = `table-${number}`;
    table.classList.add("folded");
    const button = document.createElement("button");
    const tell = (isOpen) => {
      button.setAttribute("aria-expanded", String(isOpen));
      button.textContent = isOpen ? "Show the first 20 rows" : `Show all ${count.toLocaleString("en")} rows`;
    };
    button.type = "button";
    button.className = "more";
    button.setAttribute("aria-controls", table.id);
    tell(false);
    button.addEventListener("click", () => tell(!table.classList.toggle("folded")));
    table.closest(".table").after(button);
  }

  document.addEventListener("click", (event) => {
    const button = event.target.closest("thead button");
    if (button) sort(button);
  });
  document.querySelectorAll("main table").forEach(fold);
  drawAll();
})();
