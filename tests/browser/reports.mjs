// reports.mjs COMMAND DATA PACKAGES SCRATCH [--screenshots FOLDER]
// Has COMMAND make reports, opens them in Debian's Chromium, headless and without a network, at the
// widths of a phone and a desktop, in light and in dark, and on paper. DATA is the folder of example
// tables, PACKAGES the one that tools/fetch browser makes. Exits with 1 when a check fails.
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";
import { pathToFileURL } from "node:url";
import { makeReports } from "./cases.mjs";
import { checkFolding, checkPaper, checkScrolling, checkSorting, checkView } from "./checks.mjs";

const [command, data, packages, scratch, ...options] = process.argv.slice(2);
const require = createRequire(path.resolve(packages, "node_modules/from-here.js"));
const { chromium } = require("playwright-core");
const axe = fs.readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");
const screenshots = options[0] === "--screenshots" ? options[1] : null;

const kMostBytes = 1_500_000;
const kViews = [
  { width: 390, height: 844, theme: "light" },
  { width: 390, height: 844, theme: "dark" },
  { width: 1280, height: 900, theme: "light" },
  { width: 1280, height: 900, theme: "dark" },
];

fs.rmSync(scratch, { recursive: true, force: true });
fs.mkdirSync(scratch, { recursive: true });
if (screenshots) fs.mkdirSync(screenshots, { recursive: true });
const program = path.resolve(command);
const run = (...args) => execFileSync(program, args, { cwd: scratch, stdio: ["ignore", "ignore", "inherit"] });
const reports = makeReports(run, path.resolve(data), path.resolve(scratch));

const browser = await chromium.launch({
  executablePath: process.env.QVREG_CHROMIUM ?? "/usr/bin/chromium",
  args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync"],
});

let checks = 0;
const faults = [];
const expect = (isRight, what) => {
  checks += 1;
  if (!isRight) faults.push(what);
};

/** Opens a report in a context of its own, whose requests and messages are faults. */
async function open(report, view) {
  const context = await browser.newContext({
    viewport: { width: view.width, height: view.height }, colorScheme: view.theme, offline: true,
    deviceScaleFactor: screenshots ? 1.5 : 1,
  });
  const page = await context.newPage();
  const name = `${report.name} at ${view.width}, ${view.theme}`;
  const own = pathToFileURL(report.file).href;
  page.on("request", (request) => {
    if (request.url().split("#")[0] !== own) faults.push(`${name}: asks for ${request.url().slice(0, 200)}`);
  });
  page.on("console", (message) => faults.push(`${name}: console says ${message.text().slice(0, 300)}`));
  page.on("pageerror", (error) => faults.push(`${name}: ${error}`));
  page.on("dialog", (dialog) => { faults.push(`${name}: opens a dialog`); dialog.dismiss(); });
  await page.goto(own);
  await page.waitForSelector("html[data-plots=drawn]", { timeout: 60_000 });
  return { context, page, name };
}

for (const report of reports) {
  const bytes = fs.statSync(report.file).size;
  expect(bytes < kMostBytes, `${report.name}: ${bytes} bytes`);
  let summary = "";
  for (const view of kViews) {
    const { context, page, name } = await open(report, view);
    summary = await checkView(page, report, view, axe, (isRight, what) => expect(isRight, `${name}: ${what}`));
    await checkScrolling(page, (isRight, what) => expect(isRight, `${name}: ${what}`));
    if (screenshots) {
      const file = `${report.name}-${view.width}-${view.theme}.png`;
      await page.screenshot({ path: path.join(screenshots, file), fullPage: true });
    }
    await context.close();
  }
  const { context, page, name } = await open(report, kViews[2]);
  await checkFolding(page, report, (isRight, what) => expect(isRight, `${name}: ${what}`));
  await checkSorting(page, (isRight, what) => expect(isRight, `${name}: ${what}`));
  await checkPaper(page, (isRight, what) => expect(isRight, `${name}: ${what}`));
  await context.close();
  console.log(`${report.name}: ${bytes} bytes, ${summary}`);
}
await browser.close();
for (const fault of faults) console.log(`FAULT ${fault}`);
console.log(`browser: ${checks} checks of ${reports.length} reports, ${faults.length} faults`);
process.exit(faults.length > 0 ? 1 : 0);
