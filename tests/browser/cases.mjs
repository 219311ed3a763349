// The reports that the browser opens, and what each must hold.
import fs from "node:fs";
import path from "node:path";

/** Numbers from 0 to 1 that are the same in every run. */
function numbers(seed) {
  let state = seed >>> 0;
  return () => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return state / 2 ** 32;
  };
}

function writeLarge(file, count) {
  const next = numbers(7);
  const lines = ["y,x,g,n"];
  for (let i = 0; i < count; ++i) {
    const x = 10 * next();
    const noise = next() + next() + next() + next() - 2;
    lines.push(`${(3 + 2 * x + 4 * noise).toFixed(4)},${x.toFixed(4)},${"abc"[i % 3]},${1 + (i % 2)}`);
  }
  fs.writeFileSync(file, lines.join("\n") + "\n");
}

/** A hundred levels, one of them far from the others and known from two records alone. */
function writeManyLevels(file) {
  const next = numbers(11);
  const lines = ["y,level"];
  for (let i = 0; i < 6_000; ++i) lines.push(`${(10 * next() + i % 100 / 10).toFixed(4)},l${i % 100}`);
  lines.push("900,far", "-200,far", "1e6,l1");
  fs.writeFileSync(file, lines.join("\n") + "\n");
}

/** Names that are markup, quotes, the end of a script, and text from right to left. */
export const kWildNames = {
  dependent: "</script><script>alert(1)</script>",
  number: "<img src=x onerror=alert(2)>",
  factor: "שלום \"a\" & 'b'",
  levels: ["<b>bold</b>", "مرحبا", "\"&amp;'", "]]><!-- --!>"],
};

function writeWild(file) {
  const next = numbers(3);
  const quote = (text) => `"${text.replaceAll('"', '""')}"`;
  const { dependent, number, factor, levels } = kWildNames;
  const lines = [[dependent, number, factor].map(quote).join(",")];
  for (let i = 0; i < 200; ++i) {
    const level = levels[i % levels.length];
    lines.push([(next() + i % 4).toFixed(3), next().toFixed(3), quote(level)].join(","));
  }
  fs.writeFileSync(file, lines.join("\n") + "\n");
  const name = (text) => "`" + text + "`";
  return [`${name(dependent)} ~ ${name(number)} + ${name(factor)}`,
    `${name(factor)} ~ ${name(number)} + ${name(dependent)}`];
}

/** Makes the reports in `scratch`; `plots` are the fewest that each must draw, `folded` its long tables. */
export function makeReports(run, data, scratch) {
  const file = (name) => path.join(scratch, name);
  const penguins = path.join(data, "penguins.csv");
  const report = (name, plots, ...fit) => {
    run(...fit, "--report", file(`${name}.html`));
    return { name, plots, file: file(`${name}.html`) };
  };
  const fit = (table, formula, ...more) => ["fit", "-d", table, "-f", formula, "-q", ...more];
  writeManyLevels(file("many.csv"));
  writeLarge(file("large.csv"), 20_000);
  writeLarge(file("points.csv"), 5_000);
  const [wildLinear, wildLogistic] = writeWild(file("wild.csv"));
  run(...fit(penguins, "body_mass ~ species + sex", "--save", file("plain.pmml")));
  return [
    report("linear", 6, ...fit(penguins, "body_mass ~ species*sex + flipper_length", "--anova", "2",
      "--vif", "--margins", "--means", "species", "--influential")),
    report("binary", 6, ...fit(penguins, "sex ~ body_mass + species + flipper_length", "--margins",
      "--holdout", "0.3")),
    report("multinomial", 7, ...fit(penguins, "island ~ body_mass + sex", "--margins", "--anova", "2",
      "--folds", "4")),
    report("large", 5, ...fit(file("large.csv"), "y ~ x + g")),
    { ...report("many", 5, ...fit(file("many.csv"), "y ~ level")), folded: 1, arrowheads: true },
    report("points", 5, ...fit(file("points.csv"), "y ~ x + g")),
    report("names", 5, ...fit(file("wild.csv"), wildLinear)),
    report("levels", 4, ...fit(file("wild.csv"), wildLogistic)),
    report("plain", 1, "show", file("plain.pmml")),
  ];
}
