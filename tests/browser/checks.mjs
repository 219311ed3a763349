// What every report must do in a browser. `expect(isRight, what)` counts a check and its fault.

/** How much of what is drawn stands out from the paper: names of colours and the least contrast. */
const kContrasts = {
  ink: 7, quiet: 4.5, link: 4.5, accent: 3, soft: 3,
  ...Object.fromEntries([1, 2, 3, 4, 5, 6, 7, 8].map((k) => [`line-${k}`, 3])),
};

/** axe-core does not look into drawings: their colours are checked by themselves (WCAG 2.1, 1.4.11). */
async function checkContrasts(page, expect) {
  const colours = await page.evaluate((names) => {
    const style = getComputedStyle(document.documentElement);
    return Object.fromEntries(names.map((name) => [name, style.getPropertyValue(`--${name}`).trim()]));
  }, ["paper", ...Object.keys(kContrasts)]);
  const luminance = (hex) => {
    const whole = hex.length === 4 ? hex.replace(/[0-9a-f]/gi, "$&$&") : hex;
    const [r, g, b] = [1, 3, 5].map((at) => parseInt(whole.slice(at, at + 2), 16) / 255)
      .map((c) => (c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4));
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  for (const [name, least] of Object.entries(kContrasts)) {
    const [dark, light] = [colours.paper, colours[name]].map(luminance).sort((a, b) => a - b);
    const contrast = (light + 0.05) / (dark + 0.05);
    expect(contrast >= least, `--${name} has a contrast of ${contrast.toFixed(2)}`);
  }
}

/** Checks one view of a page; answers what it holds. */
export async function checkView(page, report, view, axe, expect) {
  const found = await page.evaluate(() => ({
    title: document.title,
    page: document.documentElement.scrollWidth,
    window: document.documentElement.clientWidth,
    headings: [...document.querySelectorAll("h1, h2, h3")].map((h) => Number(h.tagName[1])),
    foreign: document.querySelectorAll("main img, main b, body > img, iframe").length,
    scripts: document.scripts.length,
    plots: [...document.querySelectorAll(".drawing")].map((drawing) => ({
      label: drawing.dataset.label,
      marks: [...drawing.querySelectorAll("svg g.role-mark path, svg g.role-mark line, svg g.role-mark text")]
        .filter((mark) => mark.getBoundingClientRect().width + mark.getBoundingClientRect().height > 0).length,
      inside: drawing.scrollWidth <= drawing.clientWidth + 1,
      // Numbers that are none would be in the attributes of marks.
      notNumbers: [...drawing.querySelectorAll("svg *")].filter((mark) =>
        [...mark.attributes].some((attribute) => /NaN|Infinity/.test(attribute.value) && attribute.name !== "aria-label")).length,
      keys: [...drawing.querySelectorAll("svg .role-legend-label text")].map((text) => text.textContent),
      legends: drawing.querySelectorAll("svg .role-legend-title").length,
      counts: drawing.querySelectorAll("svg .mark-rect.role-mark path").length,
      arrowheads: [...drawing.querySelectorAll("svg .mark-symbol.role-mark path")]
        .filter((path) => /^M[^ACZ]*Z$/.test(path.getAttribute("d"))).map((path) => path.getBoundingClientRect().width),
    })),
    tables: [...document.querySelectorAll("main table")].map((table) => ({
      caption: table.caption?.textContent ?? "",
      columns: table.querySelectorAll("thead th[scope=col]").length,
      rows: table.querySelectorAll("tbody th[scope=row]").length,
    })),
  }));
  expect(found.page <= found.window, `the page is ${found.page} wide, the window ${found.window}`);
  expect(found.plots.length >= report.plots, `${found.plots.length} plots, ${report.plots} or more expected`);
  for (const plot of found.plots) {
    expect(plot.marks > 0, `no marks in "${plot.label}"`);
    expect(plot.inside, `"${plot.label}" is wider than its place`);
    expect(plot.notNumbers === 0, `${plot.notNumbers} marks without a place in "${plot.label}"`);
    if (plot.legends > 0) expect(plot.keys.length > 0 && plot.keys.every((key) => key !== ""), `a legend without keys in "${plot.label}"`);
    if (/rectangles for/.test(plot.label)) {
      const numbers = plot.keys.map((key) => Number(key.replaceAll(",", "")));
      expect(numbers.length > 1 && numbers[0] >= 1 && numbers.every((key, i) => i === 0 || key > numbers[i - 1]),
        `a legend of counts with ${plot.keys} in "${plot.label}"`);
    }
    const heads = Number(plot.label.match(/(\d+) with an arrowhead/)?.[1] ?? 0);
    expect(plot.arrowheads.length >= heads && plot.arrowheads.every((width) => width > 2),
      `${plot.arrowheads.length} arrowheads in "${plot.label}"`);
  }
  if (report.arrowheads) expect(found.plots.some((plot) => plot.arrowheads.length > 0), "no arrowheads");
  expect(found.tables.length > 0, "no table");
  for (const table of found.tables) {
    expect(table.caption !== "" && table.columns > 0 && table.rows > 0, `a table lacks its parts: ${JSON.stringify(table)}`);
  }
  expect(found.foreign === 0, "a name became markup");
  expect(found.scripts === 4 + found.plots.length, `${found.scripts} scripts`);
  expect(found.headings[0] === 1 && found.headings.every((h, i) => i === 0 || h - found.headings[i - 1] <= 1),
    `headings in the order ${found.headings}`);
  await checkContrasts(page, expect);
  await page.evaluate(axe);
  const results = await page.evaluate(async () => {
    // Drawings are pictures with a name, of thousands of marks.
    const scope = { include: [["html"]], exclude: [[".drawing svg"]] };
    const { violations: all } = await globalThis.axe.run(scope, { resultTypes: ["violations"] });
    return all.map((one) => `${one.id} (${one.nodes.length}): ${one.help}; ${one.nodes[0].html.slice(0, 150)}; ${(one.nodes[0].any[0] ?? {}).message ?? ""}`);
  });
  expect(results.length === 0, `axe-core finds ${results.join(" | ")}`);
  const marks = found.plots.reduce((sum, plot) => sum + plot.marks, 0);
  return `${found.tables.length} tables, ${found.plots.length} plots of ${marks} marks`;
}

/** Sorts the first table that sorts by a mouse and by keys. */
export async function checkSorting(page, expect) {
  const place = await page.evaluate(() => {
    const tables = [...document.querySelectorAll("main table")];
    const at = tables.findIndex((table) => table.tHead.querySelector("button") && table.tBodies[0].rows.length > 2);
    if (at >= 0) tables[at].dataset.tested = "yes";
    return at;
  });
  expect(place >= 0, "no table sorts");
  if (place < 0) return;
  const table = page.locator("table[data-tested]");
  const heading = table.locator("thead th").nth(1);
  const read = () => table.locator("tbody tr").evaluateAll((rows) => rows.map((row) => row.cells[1].textContent));
  const numbers = (texts) => texts.map((text) => Number(text.replaceAll(",", "").replace(/^</, "")));
  const before = await read();
  const up = (values) => values.every((value, i) => i === 0 || values[i - 1] <= value);
  await heading.locator("button").click();
  expect(await heading.getAttribute("aria-sort") === "ascending", "a click does not sort up");
  expect(up(numbers(await read())), `sorted up by a click: ${await read()}`);
  await heading.locator("button").focus();
  await page.keyboard.press("Enter");
  expect(await heading.getAttribute("aria-sort") === "descending", "a key does not sort down");
  expect(up(numbers(await read()).reverse()), `sorted down by a key: ${await read()}`);
  expect((await read()).length === before.length, "sorting loses rows");
  await table.locator("thead th").nth(0).locator("button").press("Space");
  expect(await heading.getAttribute("aria-sort") === null, "two columns are marked as sorted");
}

/** Opens and folds the long tables by a mouse and by keys; on paper they are as they were left. */
export async function checkFolding(page, report, expect) {
  const buttons = page.locator("button.more");
  expect(await buttons.count() === (report.folded ?? 0), `${await buttons.count()} tables are folded`);
  if (await buttons.count() === 0) return;
  const button = buttons.first();
  const table = page.locator(`#${await button.getAttribute("aria-controls")}`);
  const shown = () => table.locator("tbody tr").evaluateAll((rows) => rows.filter((row) => row.offsetParent !== null).length);
  const all = await table.locator("tbody tr").count();
  expect(all > 60 && await shown() === 20, `${await shown()} of ${all} rows before`);
  expect(await button.getAttribute("aria-expanded") === "false", "a folded table is not said to be folded");
  expect((await button.textContent()).includes(String(all)), "the button does not tell the rows");
  await button.focus();
  await page.keyboard.press("Enter");
  expect(await button.getAttribute("aria-expanded") === "true" && await shown() === all, `${await shown()} rows when opened by a key`);
  await page.emulateMedia({ media: "print" });
  expect(await shown() === all && !(await button.isVisible()), `${await shown()} rows on paper`);
  await page.emulateMedia({ media: "screen" });
  await button.click();
  expect(await shown() === 20, `${await shown()} rows when folded again`);
}

/** Wide tables scroll by themselves; the names stay in sight. */
export async function checkScrolling(page, expect) {
  const found = await page.evaluate(() => [...document.querySelectorAll(".table")].map((region) => {
    const left = region.getBoundingClientRect().left;
    region.scrollLeft = region.scrollWidth;
    const name = region.querySelector("tbody th").getBoundingClientRect().left;
    const scrolled = region.scrollLeft;
    region.scrollLeft = 0;
    return { scrolled, moved: Math.abs(name - left) };
  }));
  for (const { scrolled, moved } of found) expect(moved < 1, `names move by ${moved} when ${scrolled} is scrolled`);
}

/** On paper a page is light, whatever the theme, and nothing scrolls. */
export async function checkPaper(page, expect) {
  await page.emulateMedia({ media: "print", colorScheme: "dark" });
  const found = await page.evaluate(() => {
    const style = getComputedStyle(document.body);
    return {
      paper: style.backgroundColor,
      ink: style.color,
      label: getComputedStyle(document.querySelector(".drawing svg .role-axis-label text")).fill,
      cut: [...document.querySelectorAll(".table")].filter((t) => getComputedStyle(t).overflowX !== "visible").length,
    };
  });
  expect(found.paper === "rgb(255, 255, 255)", `paper of ${found.paper}`);
  expect(found.ink === "rgb(17, 17, 17)" && found.label === found.ink, `ink of ${found.ink}, in plots ${found.label}`);
  expect(found.cut === 0, "a table may be cut on paper");
}
