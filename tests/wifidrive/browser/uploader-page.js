// Drives the uploader's page in headless Chromium: lists, uploads two files, creates a folder,
// moves a file into it, downloads it, shows a refusal, deletes it and leaves the folder.
// Usage: node uploader-page.js URL DOWNLOAD_DIR
"use strict";
const { expect, withBrowser, runMain } = require("./browser");
const fs = require("fs");
const path = require("path");

const [url, downloadDir] = process.argv.slice(2);
const one = Buffer.from("RIFF one take ".repeat(5000));
const two = Buffer.from("RIFF two take ".repeat(300));

async function main() {
  await withBrowser(downloadDir, async (page) => {
    const row = (name) => page.locator(`#listing .row[data-name="${name}"]`);

    await page.goto(url);
    await row("Seed.wav").waitFor();
    expect((await page.title()) === "Wavelocker", "the page title");

    // Two files at once, each with its own progress row.
    await page.setInputFiles("#file-input", [
      { name: "one.wav", mimeType: "audio/wav", buffer: one },
      { name: "two.wav", mimeType: "audio/wav", buffer: two },
    ]);
    await row("one.wav").waitFor();
    await row("two.wav").waitFor();
    await page.locator("#uploads .done").nth(1).waitFor();

    page.once("dialog", (d) => d.accept("Samples"));
    await page.click("#create-button");
    await row("Samples").waitFor();

    page.once("dialog", (d) => d.accept("/Samples/renamed.wav"));
    await row("one.wav").locator("button", { hasText: "Move" }).click();
    await row("one.wav").waitFor({ state: "detached" });

    await row("Samples").locator("a.folder-link").click();
    await page.locator("#location", { hasText: "/Samples/" }).waitFor();
    await row("renamed.wav").waitFor();

    const [download] = await Promise.all([
      page.waitForEvent("download"),
      row("renamed.wav").locator("a.download").click(),
    ]);
    const saved = path.join(downloadDir, "renamed.wav");
    await download.saveAs(saved);
    expect(download.suggestedFilename() === "renamed.wav", "the download's name");
    expect(fs.readFileSync(saved).equals(one), "the downloaded bytes to equal the uploaded ones");

    // The server's refusal reaches the page as it was sent.
    page.once("dialog", (d) => d.accept(".hidden"));
    await page.click("#create-button");
    await page.locator("#error", { hasText: 'Creating directory name "/Samples/.hidden" is not allowed' }).waitFor();

    page.once("dialog", (d) => d.accept());
    await row("renamed.wav").locator("button", { hasText: "Delete" }).click();
    await row("renamed.wav").waitFor({ state: "detached" });
    await page.locator("#empty").waitFor();

    await page.click("#up-button");
    await page.locator("#location", { hasText: /^\/$/ }).waitFor();
    await row("two.wav").waitFor();
  });
}

runMain(main);
