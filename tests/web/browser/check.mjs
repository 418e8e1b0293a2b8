// check.mjs PORT [PICTURES]: looks at annal-web with a browser, on a private appliance that serve.sh has prepared. With
// a folder for pictures it takes them, too.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import path from "node:path";
import { AxeBuilder } from "@axe-core/playwright";
import { chromium } from "playwright-core";
import { HOSTILE, STEERING } from "./hostile.mjs";

const [port, pictures] = process.argv.slice(2);
const root = `https://127.0.0.1:${port}/annal/`;
const WIDE = { width: 1600, height: 1000 };
const LAPTOP = { width: 1280, height: 720 };
const TABLET = { width: 820, height: 1180 };
const PHONE = { width: 390, height: 844 };

const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
  args: ["--no-sandbox", "--disable-dev-shm-usage"],
});

// A reader of their own, whose every misstep is a fault.
async function reader(options = {}) {
  const context = await browser.newContext({
    httpCredentials: { username: "admin", password: "admin" },
    ignoreHTTPSErrors: true,
    viewport: WIDE,
    locale: "en-GB",
    timezoneId: "America/New_York",
    ...options,
  });
  const page = await context.newPage();
  const faults = [];
  page.on("dialog", (dialog) => {
    faults.push(`a dialog: ${dialog.message()}`);
    dialog.dismiss();
  });
  page.on("pageerror", (error) => faults.push(`an error: ${error}`));
  page.on("console", (message) => {
    if (message.type() === "error" && !/status of (400|404|503)/.test(message.text())) {
      faults.push(`on the console: ${message.text()}`);
    }
  });
  page.on("request", (request) => {
    if (!request.url().startsWith(root) && !request.url().startsWith("data:")) {
      faults.push(`asks ${request.url()}`);
    }
  });
  return { page, faults, close: () => context.close() };
}

// As the page's own links are: servers refuse control characters, so what has some is encoded twice.
const address = (parameters = {}) => {
  const query = new URLSearchParams(
    Object.entries(parameters).map(([name, value]) =>
      /[\0-\x1f\x7f]/.test(value) ? [`${name}*`, encodeURIComponent(value)] : [name, value],
    ),
  ).toString();
  return query ? `${root}?${query}` : root;
};

const sql = (file, statements) => execFileSync("sqlite3", [`/etc/logs/${file}`], { input: statements });
const quoted = (text) => `CAST(x'${Buffer.from(text).toString("hex")}' AS TEXT)`;

let failed = 0;
async function check(name, work) {
  const begun = performance.now();
  try {
    const said = await work();
    console.log(`  passed  ${name}${said ? `: ${said}` : ""} (${Math.round(performance.now() - begun)} ms)`);
  } catch (error) {
    failed += 1;
    console.log(`  FAILED  ${name}\n${error.stack}`);
  }
}

// --- what strangers write ---

const LOGS = [
  ["event.log", "ANNAL_EVENT", "event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, event_app_name", "0, '2026-11-21', '10:00:00', T, T, T, T, T"],
  ["conn.log", "ANNAL_CONN", "conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, conn_app", "1, '2026-11-21', '10:00:00', T, T, T, T, T"],
  ["notice.log", "ANNAL_NOTICE", 'severity, time, user, ip, client, "desc", serviceName, title, facility', "2, 1795255200, T, T, T, T, T, T, 1"],
  ["operations.db", "PAVO2LOG_EVENT", "event_type, event_date, event_time, event_user, event_ip, event_comp, event_filepath, event_oldfilepath", "0, '2026-11-21', '10:00:00', T, T, T, T, T"],
];

async function fillWithHostileTexts() {
  for (const [file, table, columns, values] of LOGS) {
    sql(
      file,
      `DELETE FROM ${table};` +
        HOSTILE.map((text) => `INSERT INTO ${table} (${columns}) VALUES (${values.replaceAll("T", quoted(text))});`).join("") +
        // In the places of levels and times, too.
        `INSERT INTO ${table} (${columns}) VALUES (${values
          .replaceAll("T", "'x'")
          .replace(/^[0-9]+/, quoted(HOSTILE[3]))
          .replace("'2026-11-21'", quoted(HOSTILE[17]))
          .replace("'10:00:00'", quoted(HOSTILE[1]))});`,
    );
  }
}

// The characters of each text, from left to right as they are drawn.
const asDrawn = () =>
  [...document.querySelectorAll("tbody bdi, aside bdi, .chips bdi, dd, .note")].map((element) => {
    const walker = document.createTreeWalker(element, NodeFilter.SHOW_TEXT);
    const places = [];
    for (let node = walker.nextNode(); node; node = walker.nextNode()) {
      for (let at = 0; at < Math.min(node.data.length, 80); at += 1) {
        const range = document.createRange();
        range.setStart(node, at);
        range.setEnd(node, at + 1);
        const box = range.getBoundingClientRect();
        if (box.width > 0) {
          places.push([node.data[at], Math.round(box.top / 12), box.left]);
        }
      }
    }
    return { text: element.textContent, places };
  });

function assertNotMisleading(drawn, where) {
  for (const { text, places } of drawn) {
    assert.doesNotMatch(text, STEERING, `${where}: ${JSON.stringify(text)}`);
    for (let at = 1; at < places.length; at += 1) {
      const [before, now] = [places[at - 1], places[at]];
      if (before[1] === now[1]) {
        assert.ok(now[2] >= before[2] - 1, `${where}: drawn out of order: ${JSON.stringify(text)}`);
      }
    }
  }
}

async function hostileViews() {
  const views = [{}, { fold: 1 }, { log: "event" }, { log: "conn" }, { log: "notice" }, { log: "fileop" }, { sort: "user", order: "falling" }];
  for (const log of ["event", "conn", "notice", "fileop"]) {
    for (const id of [1, 4, 18, 31]) {
      views.push({ log, entry: `${log}:${id}` });
    }
  }
  for (const text of HOSTILE.slice(0, -1)) {
    for (const name of ["user", "text", "not-app", "ip"]) {
      views.push({ [name]: text });
    }
    views.push({ [text.slice(0, 30)]: "1" }, { since: text }, { after: text }, { entry: text });
  }
  return views;
}

async function noneIsObeyed(scripts) {
  const { page, faults, close } = await reader({ javaScriptEnabled: scripts });
  let looked = 0;
  for (const view of await hostileViews()) {
    const where = address({ rows: 200, ...view });
    await page.goto(where, { waitUntil: "load" });
    assert.equal(page.url(), where);
    if (scripts) {
      assert.equal(await page.evaluate(() => window.ran), undefined, where);
      const strange = await page.evaluate(
        () => document.querySelectorAll("iframe, img, object, embed, base, style, template, [onerror], [onload], [onfocus]").length,
      );
      assert.equal(strange, 0, where);
      assertNotMisleading(await page.evaluate(asDrawn), where);
    }
    looked += 1;
  }
  // Links of values lead to those values.
  if (scripts) {
    for (const text of HOSTILE.slice(0, -1)) {
      const answer = await page.goto(address({ log: "event", user: text }));
      const said = `${answer.status()}, ${await page.locator("main").textContent()}`;
      assert.equal(await page.locator("tbody tr .message").count(), 1, `${text}: ${said}`);
    }
    assert.deepEqual(await page.context().cookies(), []);
  }
  assert.deepEqual(faults, []);
  await close();
  return `${HOSTILE.length} texts, ${looked} views`;
}

// --- everybody can use it ---

async function noFindings() {
  let looked = 0;
  for (const colorScheme of ["light", "dark"]) {
    for (const viewport of [WIDE, LAPTOP, TABLET, PHONE]) {
      const { page, faults, close } = await reader({ colorScheme, viewport });
      for (const view of [
        {},
        { fold: 1, level: "error", "not-user": "ann" },
        { log: "conn", follow: 1 },
        { entry: "event:40", level: "error" },
        { text: "none has this" },
        { color: "red" },
        { settings: true },
      ]) {
        await page.goto(address(view.settings ? {} : view));
        if (view.settings) {
          await page.locator("#settings summary").click();
          await page.locator("details:not([open]) > summary").evaluateAll((all) => all.forEach((one) => one.click()));
        }
        const { violations } = await new AxeBuilder({ page }).analyze();
        assert.deepEqual(
          violations.map(({ id, nodes }) => `${id}: ${nodes.map((node) => node.html).slice(0, 3)}`),
          [],
          `${colorScheme}, ${viewport.width}: ${page.url()}`,
        );
        const wider = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
        assert.ok(wider <= 0, `${page.url()} is wider than ${viewport.width} by ${wider}`);
        const hidden = await page.evaluate(() => [...document.querySelectorAll(".scroll")].flatMap((table) => [...table.querySelectorAll("td.message")].filter((one) => one.getBoundingClientRect().right > table.getBoundingClientRect().right + 1)).length);
        assert.equal(hidden, 0, `${page.url()}: at ${viewport.width} messages are out of sight`);
        looked += 1;
      }
      assert.deepEqual(faults, []);
      await close();
    }
  }
  return `${looked} pages`;
}

async function worksWithoutScripts() {
  const { page, close } = await reader({ javaScriptEnabled: false });
  const all = async () => Number((await page.locator("#count").textContent()).match(/^[\d,]+/)[0].replaceAll(",", ""));
  await page.goto(root);
  const whole = await all();
  await page.getByLabel("User", { exact: true }).first().fill("ann");
  await page.getByRole("button", { name: "Apply" }).click();
  const anns = await all();
  assert.ok(anns > 0 && anns < whole);
  assert.equal(new URL(page.url()).searchParams.get("user"), "ann");
  await page.locator("#facet-level + ul li", { hasText: "error" }).getByRole("link").first().click();
  assert.ok((await all()) < anns);
  await page.goBack();
  await page.locator("#facet-level + ul li", { hasText: "error" }).getByRole("link", { name: "Leave out" }).click();
  assert.ok((await all()) < anns);
  await page.getByLabel(/Remove the filter User/).click();
  await page.getByLabel(/Remove the filter Level/).click();
  assert.equal(await all(), whole);
  const first = await page.locator("tbody td a").first().getAttribute("href");
  await page.getByRole("link", { name: "Older" }).first().click();
  assert.notEqual(await page.locator("tbody td a").first().getAttribute("href"), first);
  await page.getByRole("link", { name: "Newer" }).first().click();
  assert.equal((await page.locator("tbody td a").first().getAttribute("aria-label")).length > 0, true);
  await page.goto(address({ user: "ann" }));
  await page.locator(".chart svg a").first().click({ force: true });
  assert.ok(new URL(page.url()).searchParams.has("since"));
  assert.equal(new URL(page.url()).searchParams.get("user"), "ann");
  await page.getByRole("link", { name: "Fold repeats" }).click();
  assert.equal(new URL(page.url()).searchParams.get("fold"), "1");
  await page.goto(address({ user: "ann", level: "error" }));
  await page.locator("tbody td a").first().click();
  await page.getByRole("link", { name: "Back to the list" }).click();
  assert.equal(new URL(page.url()).searchParams.get("level"), "error");
  const [download] = await Promise.all([page.waitForEvent("download"), page.getByRole("link", { name: "JSON Lines" }).click()]);
  const lines = execFileSync("wc", ["-l", await download.path()]).toString();
  assert.equal(Number.parseInt(lines, 10), await all());
  await page.goto(address({ follow: 1 }));
  assert.ok((await page.content()).includes('http-equiv="refresh"'));
  await close();
}

async function keyboardIsEnough() {
  const { page, faults, close } = await reader();
  await page.goto(root);
  await page.keyboard.press("Tab");
  assert.equal(await page.evaluate(() => document.activeElement.className), "skip");
  await page.keyboard.press("Enter");
  assert.equal(await page.evaluate(() => document.activeElement.id), "entries");
  await page.keyboard.press("/");
  await page.keyboard.type("Disk");
  await Promise.all([page.waitForURL(/text=Disk/), page.keyboard.press("Enter")]);
  await page.keyboard.press("j");
  await page.keyboard.press("j");
  await page.keyboard.press("k");
  await Promise.all([page.waitForURL(/entry=/), page.keyboard.press("Enter")]);
  assert.ok(page.url().includes("text=Disk"));
  await Promise.all([page.waitForURL((url) => !url.search.includes("entry=")), page.keyboard.press("u")]);
  await page.goto(root);
  await Promise.all([page.waitForURL(/after=/), page.keyboard.press("n")]);
  await Promise.all([page.waitForURL(/before=/), page.keyboard.press("p")]);
  await Promise.all([page.waitForURL(/fold=1/), page.keyboard.press("r")]);
  await Promise.all([page.waitForURL(/after=/), page.keyboard.press("n")]);
  await Promise.all([page.waitForURL(/before=/), page.keyboard.press("p")]);
  // Whatever a mouse can press, the Tab key reaches, and shows that it has.
  await page.goto(address({ rows: 25, log: "event" }));
  const reachable = await page.evaluate(
    () => [...document.querySelectorAll("a[href], button, input:not([type=hidden]), select, summary")].filter((one) => one.tabIndex >= 0 && one.checkVisibility()).length,
  );
  const reached = new Set();
  for (let step = 0; step < reachable + 20; step += 1) {
    await page.keyboard.press("Tab");
    const where = await page.evaluate(() => {
      const one = document.activeElement;
      one.dataset.step ??= String(Math.random());
      return one === document.body ? null : [one.dataset.step, one.matches(".scroll"), getComputedStyle(one).outlineStyle];
    });
    if (where && !where[1]) {
      assert.notEqual(where[2], "none");
      reached.add(where[0]);
    }
  }
  assert.ok(reached.size >= reachable, `${reached.size} of ${reachable}`);
  assert.deepEqual(faults, []);
  await close();
  return `${reachable} places`;
}

async function brushes() {
  const { page, faults, close } = await reader();
  await page.goto(root);
  const before = await page.locator("#count").textContent();
  const box = await page.locator(".u-over").boundingBox();
  await page.mouse.move(box.x + box.width * 0.4, box.y + 40);
  await page.mouse.down();
  await page.mouse.move(box.x + box.width * 0.6, box.y + 60, { steps: 5 });
  await Promise.all([page.waitForURL(/since=.*until=/), page.mouse.up()]);
  assert.notEqual(await page.locator("#count").textContent(), before);
  assert.deepEqual(faults, []);
  await close();
}

async function pressesABar() {
  for (const viewport of [WIDE, PHONE]) {
    const { page, faults, close } = await reader({ viewport });
    await page.goto(address({ log: "event", user: "ann" }));
    const row = await page.locator("#histogram tr[data-from]").evaluateAll((rows) => {
      const sum = (one) => one.dataset.counts.split(" ").reduce((all, count) => all + Number(count), 0);
      const from = rows.map((one) => Number(one.dataset.from));
      const width = Number(document.getElementById("histogram").dataset.width);
      const bars = (from[from.length - 1] - from[0]) / width + 1;
      return rows.map((one, at) => ({ place: ((from[at] - from[0]) / width + 0.5) / bars, sum: sum(one) })).find(({ sum }) => sum > 10);
    });
    const box = await page.locator(".u-over").boundingBox();
    const [x, y] = [box.x + box.width * row.place, box.y + box.height - 5];
    await page.mouse.move(x, y);
    assert.match(await page.locator("#bar").textContent(), new RegExp(`: ${row.sum} entries, \\d+ warnings, \\d+ errors`));
    await Promise.all([page.waitForURL(/since=.*until=/), page.mouse.click(x, y)]);
    assert.match(await page.locator("#count").textContent(), new RegExp(`^${row.sum} entries`));
    assert.equal(new URL(page.url()).searchParams.get("user"), "ann");
    assert.deepEqual(faults, []);
    await close();
  }
}

async function remembers() {
  const { page, faults, close } = await reader();
  await page.goto(address({ log: "event" }));
  const time = page.locator(".entries tbody time").first();
  const stored = await time.textContent();
  await page.getByText("Settings").click();
  await page.getByLabel("Colours").selectOption("dark");
  await page.getByLabel("Times").selectOption("browser");
  const moved = await time.textContent();
  assert.notEqual(moved, stored);
  assert.match(await page.locator("#histogram-title").textContent(), /in the appliance's time/);
  await page.reload();
  assert.equal(await page.evaluate(() => document.documentElement.dataset.theme), "dark");
  assert.equal(await time.textContent(), moved);
  await page.goto(address({ rows: 25 }));
  await page.goto(root);
  await page.waitForURL(/rows=25/);
  assert.deepEqual(faults, []);
  await close();
}

async function follows() {
  const { page, faults, close } = await reader();
  await page.goto(address({ log: "event", follow: 1 }));
  const text = `added at ${Date.now()}`;
  execFileSync("annalctl", ["event", "add", text]);
  await page.locator("tbody tr.new .message", { hasText: text }).waitFor({ timeout: 10000 });
  assert.deepEqual(faults, []);
  await page.route("**/*", (route) => route.abort());
  await page.locator("#following.lost").waitFor({ timeout: 10000 });
  await page.unroute("**/*");
  await page.locator("#following:not(.lost)").waitFor({ timeout: 10000 });
  await close();
}

// --- pictures ---

async function takePictures() {
  const shots = [
    ["web-light", { colorScheme: "light", viewport: { width: 1400, height: 900 } }, {}],
    ["web-dark", { colorScheme: "dark", viewport: { width: 1400, height: 900 } }, { log: "event", least: "warning", fold: 1 }],
    ["web-phone", { colorScheme: "light", viewport: PHONE }, { log: "event", level: "error" }],
  ];
  for (const [name, options, view] of shots) {
    const { page, close } = await reader({ timezoneId: "UTC", ...options });
    await page.goto(address(view));
    await page.waitForTimeout(300);
    await page.screenshot({ path: path.join(pictures, `${name}.png`) });
    await close();
  }
}

execFileSync("python3", [process.env.DEMO_DATA, "14"]);
if (pictures) {
  await check("pictures", takePictures);
}
await check("no accessibility finding", noFindings);
await check("works without scripts", worksWithoutScripts);
await check("the keyboard is enough", keyboardIsEnough);
await check("a part of the histogram can be brushed", brushes);
await check("a bar can be pressed", pressesABar);
await check("settings are remembered", remembers);
await check("follows", follows);
await fillWithHostileTexts();
await check("nothing hostile is obeyed or misleads", () => noneIsObeyed(true));
await check("nor without scripts", () => noneIsObeyed(false));
await browser.close();
process.exit(failed === 0 ? 0 : 1);
