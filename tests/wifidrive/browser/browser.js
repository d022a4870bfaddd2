// Starts headless Chromium with a private profile for one page test and closes it afterwards.
"use strict";
const { chromium } = require("playwright-core");
const fs = require("fs");
const path = require("path");

// Each step may wait this long; generous, since Chromium on a loaded 2-core machine can take many
// seconds over a step. A step returns as soon as its condition holds.
const kTimeoutMs = 45000;

function expect(condition, what) {
  if (!condition) throw new Error("expected " + what);
}

// moreArgs: further Chromium switches for one test.
async function withBrowser(workDir, run, moreArgs = []) {
  const userDataDir = fs.mkdtempSync(path.join(workDir, "profile-"));
  const browser = await chromium.launchPersistentContext(userDataDir, {
    executablePath: "/usr/bin/chromium",
    headless: true,
    acceptDownloads: true,
    args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
           "--disable-background-networking", "--disable-component-update", "--disable-sync",
           "--autoplay-policy=no-user-gesture-required", ...moreArgs],
  });
  try {
    const page = browser.pages()[0] || (await browser.newPage());
    page.setDefaultTimeout(kTimeoutMs);
    await run(page, browser);
  } finally {
    await browser.close();
  }
}

function runMain(main) {
  main().then(() => console.log("page test passed")).catch((error) => {
    console.error(error && error.stack ? error.stack : String(error));
    process.exit(1);
  });
}

module.exports = { expect, withBrowser, runMain };
