// A drive with a password in headless Chromium: the login page (a wrong password, then the
// right one) opened from a shared link that names a folder, the session kept across a reload,
// a large upload that goes in pieces and survives a piece whose connection drops, another that
// goes on from where it stood when the page was closed, one whose last answer is lost, Retry after
// a failed upload, and Log Out.
// Usage: node login-resume.js URL WORK_DIR PASSWORD
"use strict";
const { expect, withBrowser, runMain } = require("./browser");
const crypto = require("crypto");
const net = require("net");
const fs = require("fs");
const path = require("path");

const [url, workDir, password] = process.argv.slice(2);

async function main() {
  // 20 MiB of noise: three pieces of at most 8 MiB.
  const bigPath = path.join(workDir, "Big.wav");
  fs.writeFileSync(bigPath, crypto.randomBytes(20 * 1024 * 1024));

  await withBrowser(workDir, async (page, browser) => {
    await page.setViewportSize({ width: 1280, height: 800 });
    await page.goto(url + "#/Inner%20Folder/");
    // No listing without the password, and the browser's own password box never shows.
    await page.locator("#password").waitFor();
    expect((await page.locator("#listing").count()) === 0, "no listing before logging in");
    await page.fill("#password", "not it");
    await page.click("#login");
    await page.locator("#message", { hasText: "Wrong password." }).waitFor();
    await page.fill("#password", password);
    await page.click("#login");
    // The shared link's folder, not the top.
    await page.locator('#listing .row[data-name="inner.wav"]').waitFor();
    expect((await page.locator("#location").textContent()) === "/Inner Folder/", "the shared link's folder after logging in");
    await page.goto(url + "#/");
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
    await page.unroute("**/upload-chunk?**");

    // The page closes while a large file is on its way; sent again, it goes on from there.
    const againPath = path.join(workDir, "Again.wav");
    fs.writeFileSync(againPath, crypto.randomBytes(20 * 1024 * 1024));
    await page.setInputFiles("#file-input", againPath);
    await page.waitForResponse((r) => r.url().includes("/upload-chunk?") && r.request().method() === "POST" && r.status() === 200);
    await page.close();
    const again = await browser.newPage();
    const offsets = [];
    let askedAgain = 0;
    again.on("request", (r) => {
      if (!r.url().includes("/upload-chunk?")) return;
      if (r.method() === "GET") askedAgain++;
      else offsets.push(Number(new URL(r.url()).searchParams.get("offset")));
    });
    await again.goto(url);
    await again.locator('#listing .row[data-name="Big.wav"]').waitFor();
    await again.setInputFiles("#file-input", againPath);
    await again.locator('#listing .row[data-name="Again.wav"]').waitFor({ timeout: 60000 });
    // (Again, when the closed page's connection still held the upload on the drive.)
    expect(askedAgain >= 1, "the page asked where the upload stood");
    expect(offsets[0] >= 8 * 1024 * 1024, "sent on from what the drive held, not from " + offsets[0]);

    // A connection that dropped without a word still holds its upload on the drive for a while
    // (here a client that sent a part and went silent): the page waits for it instead of giving up.
    const heldPath = path.join(workDir, "Held.wav");
    fs.writeFileSync(heldPath, crypto.randomBytes(12 * 1024 * 1024));
    const heldSize = fs.statSync(heldPath).size;
    const heldId = "heldheldheldheld0001";
    await again.evaluate(([key, id]) => localStorage.setItem(key, id),
      ["upload\n/\nHeld.wav\n" + heldSize + "\n" + Math.floor(fs.statSync(heldPath).mtimeMs), heldId]);
    const silent = net.connect(Number(new URL(url).port), "127.0.0.1");
    await new Promise((resolve) => silent.once("connect", resolve));
    silent.write("POST /upload-chunk?id=" + heldId + "&offset=0&size=" + heldSize + "&path=%2F&name=Held.wav HTTP/1.1\r\n" +
      "Host: " + new URL(url).host + "\r\nAuthorization: Basic " + Buffer.from("x:" + password).toString("base64") +
      "\r\nContent-Type: application/octet-stream\r\nContent-Length: " + heldSize + "\r\n\r\n");
    silent.write(fs.readFileSync(heldPath).subarray(0, 1024 * 1024));
    // Until the drive holds what it sent.
    const basic = { Authorization: "Basic " + Buffer.from("x:" + password).toString("base64") };
    for (let held = 0; held === 0;) {
      await new Promise((resolve) => setTimeout(resolve, 100));
      held = (await (await fetch(url + "upload-chunk?id=" + heldId, { headers: basic })).json()).offset;
    }
    let conflicts = 0;
    again.on("response", (r) => { if (r.url().includes("id=" + heldId) && r.status() === 409) conflicts++; });
    await again.setInputFiles("#file-input", heldPath);
    await again.waitForFunction(() => Array.from(document.querySelectorAll("#uploads .state")).some((s) => s.textContent === "Resuming"));
    setTimeout(() => silent.destroy(), 3000);
    await again.locator('#listing .row[data-name="Held.wav"]').waitFor({ timeout: 60000 });
    expect(conflicts >= 1, "the page met the held upload");
    expect(!(await again.locator("#uploads .state.failed").count()), "no failed upload");

    // The last piece arrives and the file is stored, but its answer is lost on the way back:
    // the page learns it is done instead of sending the file again.
    const lastPath = path.join(workDir, "Last.wav");
    fs.writeFileSync(lastPath, crypto.randomBytes(10 * 1024 * 1024));
    let lostAnswers = 0;
    await again.route("**/upload-chunk?**", async (route) => {
      const request = route.request();
      if (request.method() === "POST" && new URL(request.url()).searchParams.get("offset") === String(8 * 1024 * 1024) && !lostAnswers++) {
        await route.fetch();
        await route.abort("connectionreset");
        return;
      }
      await route.continue();
    });
    await again.setInputFiles("#file-input", lastPath);
    await again.locator('#listing .row[data-name="Last.wav"]').waitFor({ timeout: 60000 });
    await again.locator("#uploads .state.done").waitFor();
    expect(lostAnswers >= 1, "the last piece's answer was lost");
    await again.unroute("**/upload-chunk?**");

    // A failed upload offers Retry, which sends it again.
    let refused = 0;
    await again.route("**/upload", (route) => (refused++ === 0 ? route.abort("connectionreset") : route.continue()));
    await again.setInputFiles("#file-input", [{ name: "Retried.wav", mimeType: "audio/wav", buffer: Buffer.from("retried take") }]);
    await again.locator("#uploads .state.failed").waitFor();
    await again.locator("#uploads li button", { hasText: "Retry" }).click();
    await again.locator('#listing .row[data-name="Retried.wav"]').waitFor();
    expect((await again.locator("#overall-text").textContent()).startsWith("1 of 1 files"), "the retried file counted once: " +
      (await again.locator("#overall-text").textContent()));

    // Log Out: the login page again, also after a reload.
    await again.click("#logout-button");
    await again.locator("#password").waitFor();
    await again.reload();
    await again.locator("#password").waitFor();
    expect((await again.locator("#listing").count()) === 0, "no listing after logging out");
  });
}

runMain(main);
