// A drive with a password in headless Chromium: the login page (a wrong password, then the
// right one), the session kept across a reload, and a large upload that goes in pieces and
// survives a piece whose connection drops.
// Usage: node login-resume.js URL WORK_DIR PASSWORD
"use strict";
const { expect, withBrowser, runMain } = require("./browser");
const crypto = require("crypto");
const fs = require("fs");
const path = require("path");

const [url, workDir, password] = process.argv.slice(2);

async function main() {
  // 20 MiB of noise: three pieces of at most 8 MiB.
  const bigPath = path.join(workDir, "Big.wav");
  fs.writeFileSync(bigPath, crypto.randomBytes(20 * 1024 * 1024));

  await withBrowser(workDir, async (page) => {
    await page.setViewportSize({ width: 1280, height: 800 });
    await page.goto(url);
    // No listing without the password, and the browser's own password box never shows.
    await page.locator("#password").waitFor();
    expect((await page.locator("#listing").count()) === 0, "no listing before logging in");
    await page.fill("#password", "not it");
    await page.click("#login");
    await page.locator("#message", { hasText: "Wrong password." }).waitFor();
    await page.fill("#password", password);
    await page.click("#login");
    await page.locator('#listing .row[data-name="Seed.wav"]').waitFor();
    await page.reload();
    await page.locator('#listing .row[data-name="Seed.wav"]').waitFor();

    // The second piece's connection drops once: the page asks how much arrived and goes on.
    let pieces = 0, dropped = 0, asked = 0;
    await page.route("**/upload-chunk?**", async (route) => {
      const request = route.request();
      if (request.method() === "GET") asked++;
      if (request.method() === "POST" && ++pieces === 2) {
        dropped++;
        await route.abort("connectionreset");
        return;
      }
      await route.continue();
    });
    await page.setInputFiles("#file-input", bigPath);
    await page.locator('#listing .row[data-name="Big.wav"]').waitFor({ timeout: 60000 });
    await page.locator("#uploads .state.done").waitFor();
    expect(dropped === 1, "one dropped piece");
    expect(asked >= 1, "the page asked where the upload stood");
    expect(pieces >= 4, "the dropped piece was sent again (" + pieces + " pieces)");
    expect((await page.locator("#overall-text").textContent()).startsWith("1 of 1 files"), "overall progress done");
    expect(!(await page.locator("#error").isVisible()), "no error shown");
  });
}

runMain(main);
