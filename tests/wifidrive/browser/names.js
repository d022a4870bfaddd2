// Names that break naive pages and servers, used as a person would in headless Chromium:
// listed as they are (never as markup), opened, reloaded and gone back from, downloaded, zipped,
// uploaded, renamed, moved and deleted. Nothing in them may run as script.
// Usage: node names.js URL WORK_DIR LIBRARY
"use strict";
const { expect, withBrowser, runMain } = require("./browser");
const { execFileSync } = require("child_process");
const fs = require("fs");
const path = require("path");

const [url, workDir, library] = process.argv.slice(2);

// What the test put in the library (see UploaderPageBrowserTest.cpp).
const kOddFolder = "#hash & <b>bold<b> ?x=1";
const kOddFiles = ["a#b.wav", "what?.wav", "100%.wav", "A & B.wav", "c+d.wav", "quote'\"s.wav",
  "new\nline.wav", "ünïcødé 日本.wav", "<img src=x onerror=alert(1)>.wav", "L".repeat(240) + ".wav"];
// What it uploads, renames and creates.
const kUploads = ["up #1.wav", "up?.wav", "up 100%.wav", "up & co.wav", "up+plus.wav", "say \"hi\".wav",
  "two\nlines.wav", "<script>alert(2)<script>.wav", "ü日本.wav", "M".repeat(250) + ".wav"];

function rowSelector(name) {
  return '#listing .row[data-name="' + name.replace(/\\/g, "\\\\").replace(/"/g, '\\"').replace(/\n/g, "\\a ") + '"]';
}

async function main() {
  await withBrowser(workDir, async (page) => {
    const injected = [];
    page.on("dialog", (d) => { if (d.type() === "alert") injected.push(d.message()); });
    page.on("pageerror", (e) => injected.push("page error: " + e.message));
    const row = (name) => page.locator(rowSelector(name));
    let answer = null;
    page.on("dialog", (d) => { if (d.type() !== "alert") d.accept(answer === null ? undefined : answer); });
    await page.setViewportSize({ width: 1280, height: 800 });
    await page.goto(url);
    await row(kOddFolder).waitFor();

    // Every name shows as its own text, and nothing in the page is markup from a name.
    for (const name of kOddFiles) {
      const shown = await row(name).locator(".file-name").textContent();
      expect(shown === name, "the name " + JSON.stringify(name) + " shown as it is, not " + JSON.stringify(shown));
    }
    expect((await page.locator("#listing img, #listing b, #listing script").count()) === 0, "no markup from names");

    // Into the folder whose name holds '#', '&', '<', '?' and '='; the address keeps it through Reload and Back.
    await row(kOddFolder).locator("a.folder-link").click();
    await page.locator("#location", { hasText: "/" + kOddFolder + "/" }).waitFor();
    await row("in it.wav").waitFor();
    await page.reload();
    await row("in it.wav").waitFor();
    expect((await page.locator("#location").textContent()) === "/" + kOddFolder + "/", "the folder kept through Reload");
    await page.goBack();
    await row(kOddFolder).waitFor();
    expect((await page.locator("#location").textContent()) === "/", "Back at the top");

    // Each file's link brings its own bytes; a few are clicked as a person would (Chromium holds
    // back a page's downloads after ten in a row).
    for (const name of kOddFiles) {
      const href = await row(name).locator("a.download").getAttribute("href");
      const bytes = await page.evaluate(async (href) => Array.from(new Uint8Array(await (await fetch(href)).arrayBuffer())), href);
      expect(Buffer.from(bytes).equals(fs.readFileSync(path.join(library, name))), "the bytes of " + JSON.stringify(name));
    }
    for (const name of ["a#b.wav", "quote'\"s.wav", "new\nline.wav"]) {
      const [download] = await Promise.all([page.waitForEvent("download"), row(name).locator("a.download").click()]);
      const saved = path.join(workDir, "download-" + kOddFiles.indexOf(name));
      await download.saveAs(saved);
      expect(fs.readFileSync(saved).equals(fs.readFileSync(path.join(library, name))), "the download of " + JSON.stringify(name));
    }

    // The folder as a zip: a sound archive with the names and bytes of the folder.
    const [zip] = await Promise.all([page.waitForEvent("download"), row(kOddFolder).locator("a.zip").click()]);
    const archive = path.join(workDir, "folder.zip");
    await zip.saveAs(archive);
    execFileSync("unzip", ["-tq", archive]);
    const unpacked = path.join(workDir, "unpacked");
    execFileSync("unzip", ["-q", archive, "-d", unpacked]);
    expect(fs.readFileSync(path.join(unpacked, kOddFolder, "in it.wav")).equals(fs.readFileSync(path.join(library, kOddFolder, "in it.wav"))),
      "the zip's bytes");

    // Uploads keep their names, quotes and line breaks included (the browser escapes those).
    await page.setInputFiles("#file-input", kUploads.map((name, i) => ({ name, mimeType: "audio/wav", buffer: Buffer.from("upload " + i) })));
    await page.waitForFunction((n) => document.querySelectorAll("#uploads .state.done").length === n, kUploads.length);
    for (const name of kUploads) await row(name).waitFor();

    // Renamed and moved to names of the same kind, a folder made with one, a file deleted.
    answer = "/" + kOddFolder + "/moved #?%&+'\" x.wav";
    await row("c+d.wav").locator("button", { hasText: "Move" }).click();
    await row("c+d.wav").waitFor({ state: "detached" });
    answer = "/renamed <i>100%<i> & more?.wav";
    await row("what?.wav").locator("button", { hasText: "Move" }).click();
    await row("renamed <i>100%<i> & more?.wav").waitFor();
    answer = "New #?% & 'q' <u>folder<u>";
    await page.click("#create-button");
    await row(answer).waitFor();
    answer = null;
    await row("new\nline.wav").locator("button", { hasText: "Delete" }).click();
    await row("new\nline.wav").waitFor({ state: "detached" });
    expect(!(await page.locator("#error").isVisible()), "no error: " + (await page.locator("#error").textContent()));

    // Search finds names with the characters a query string would take apart.
    await page.fill("#search", "#?%&+");
    await row("moved #?%&+'\" x.wav").waitFor();
    await page.fill("#search", "");

    // The drive keeps folders from being deleted: folders offer no Delete, files do.
    await row(kOddFolder).waitFor();
    expect((await row(kOddFolder).locator("button", { hasText: "Delete" }).count()) === 0, "no Delete on a folder");
    expect((await row("a#b.wav").locator("button", { hasText: "Delete" }).count()) === 1, "a Delete on a file");
    expect(injected.length === 0, "nothing ran from a name: " + injected.join("; "));
  });
}

runMain(main);
