// What a person sees on the uploader's page in headless Chromium: the drop overlay only while
// files are dragged over it, a folder upload with its progress, the folder kept in the address
// through Reload, Back and a shared link, search below the folder, sorting, a WAV playing in the
// page, and at 375 px every control inside the screen.
// Usage: node page-features.js URL WORK_DIR [SCREENSHOT_DIR]
"use strict";
const { expect, withBrowser, runMain } = require("./browser");
const { execFileSync } = require("child_process");
const fs = require("fs");
const path = require("path");

const [url, workDir, shotDir] = process.argv.slice(2);

// Two seconds of a 440 Hz tone, 16-bit mono at 44.1 kHz.
function toneWav(seconds) {
  const rate = 44100, frames = rate * seconds;
  const wav = Buffer.alloc(44 + frames * 2);
  wav.write("RIFF", 0); wav.writeUInt32LE(36 + frames * 2, 4); wav.write("WAVE", 8);
  wav.write("fmt ", 12); wav.writeUInt32LE(16, 16); wav.writeUInt16LE(1, 20); wav.writeUInt16LE(1, 22);
  wav.writeUInt32LE(rate, 24); wav.writeUInt32LE(rate * 2, 28); wav.writeUInt16LE(2, 32); wav.writeUInt16LE(16, 34);
  wav.write("data", 36); wav.writeUInt32LE(frames * 2, 40);
  for (let i = 0; i < frames; i++) wav.writeInt16LE(Math.round(8000 * Math.sin(2 * Math.PI * 440 * i / rate)), 44 + i * 2);
  return wav;
}

async function shot(page, name) {
  if (shotDir) await page.screenshot({ path: path.join(shotDir, name), fullPage: true });
}

// Every control that shows must lie within the viewport's width, and nothing may scroll sideways.
async function controlsOutside(page, width) {
  return page.evaluate((width) => {
    const outside = [];
    document.querySelectorAll("button, a.button, label.button, input[type=search], audio").forEach((e) => {
      const box = e.getBoundingClientRect();
      if (box.width === 0 && box.height === 0) return;  // not shown
      if (box.left < 0 || box.right > width) outside.push((e.textContent || e.id || e.tagName).trim() + " " + box.left + ".." + box.right);
    });
    if (document.documentElement.scrollWidth > width) outside.push("page scrolls to " + document.documentElement.scrollWidth);
    return outside;
  }, width);
}

async function main() {
  // A folder on disk to upload as the browser's folder picker gives it.
  const kit = path.join(workDir, "Kit");
  fs.mkdirSync(path.join(kit, "drums"), { recursive: true });
  fs.writeFileSync(path.join(kit, "drums", "kick.wav"), Buffer.alloc(3 * 1024 * 1024, 7));
  fs.writeFileSync(path.join(kit, "snare.wav"), Buffer.from("snare"));
  // What another computer leaves in folders: the drive takes no hidden names, so the page leaves them out.
  fs.writeFileSync(path.join(kit, ".DS_Store"), Buffer.from("finder"));
  fs.mkdirSync(path.join(kit, "drums", ".cache"));
  fs.writeFileSync(path.join(kit, "drums", ".cache", "thumbs.db"), Buffer.from("thumbs"));

  await withBrowser(workDir, async (page, browser) => {
    const row = (name) => page.locator(`#listing .row[data-name="${name}"]`);
    const names = () => page.locator("#listing .row").evaluateAll((rows) => rows.map((r) => r.dataset.name));
    await page.setViewportSize({ width: 1280, height: 800 });
    await page.goto(url);
    await row("Seed.wav").waitFor();

    // The overlay stays away until files are dragged over the page, and leaves with them.
    const overlay = page.locator("#drop-zone");
    expect(!(await overlay.isVisible()), "no drop overlay before a drag");
    const drag = (type) => page.evaluate((type) => {
      const data = new DataTransfer();
      data.items.add(new File(["dropped take"], "Dropped.wav", { type: "audio/wav" }));
      document.body.dispatchEvent(new DragEvent(type, { dataTransfer: data, bubbles: true, cancelable: true }));
    }, type);
    await drag("dragenter");
    expect(await overlay.isVisible(), "the drop overlay while files are dragged");
    await drag("dragleave");
    expect(!(await overlay.isVisible()), "the overlay gone when the drag leaves");
    await drag("dragenter");
    await drag("drop");
    expect(!(await overlay.isVisible()), "the overlay gone after the drop");
    await row("Dropped.wav").waitFor();

    // A folder, twice: the second arrives beside the first under a free name. Uploads are
    // slowed so the overall progress can be seen between its ends.
    const cdp = await browser.newCDPSession(page);
    await cdp.send("Network.enable");
    await cdp.send("Network.emulateNetworkConditions",
      { offline: false, latency: 0, downloadThroughput: -1, uploadThroughput: 2 * 1024 * 1024 });
    await page.evaluate(() => {
      window.overallSeen = [];
      const bar = document.getElementById("overall");
      new MutationObserver(() => window.overallSeen.push(bar.value / bar.max))
        .observe(bar, { attributes: true, attributeFilter: ["value", "max"] });
    });
    await page.setInputFiles("#folder-input", kit);
    await page.locator("#overall-text", { hasText: /of 2 files/ }).waitFor();
    await shot(page, "uploading-1280.png");
    await page.locator("#overall-text", { hasText: "2 of 2 files, 2 hidden items left out" }).waitFor();
    expect(!(await page.locator("#error").isVisible()), "no error: " + (await page.locator("#error").textContent()));
    const seen = await page.evaluate(() => window.overallSeen);
    expect(seen.some((f) => f > 0.05 && f < 0.95), "the overall bar between its ends: " + seen.join(" "));
    expect(await page.locator("#overall").evaluate((b) => b.value === b.max), "the overall bar full at the end");
    await cdp.send("Network.emulateNetworkConditions",
      { offline: false, latency: 0, downloadThroughput: -1, uploadThroughput: -1 });
    await page.setInputFiles("#folder-input", kit);
    await row("Kit (1)").waitFor();
    await page.waitForFunction(() => document.querySelectorAll("#uploads .done").length === 2 &&
      document.querySelector("#uploads .upload-name").textContent.startsWith("/Kit (1)/"));

    // Into the folder: the address says where, and Reload, Back, Forward and a link keep it.
    await row("Kit").locator("a.folder-link").click();
    await page.locator("#location", { hasText: "/Kit/" }).waitFor();
    expect(new URL(page.url()).hash === "#/Kit/", "the folder in the address, not " + page.url());
    await row("snare.wav").waitFor();
    // The folder shown, downloaded whole as a zip.
    const [zip] = await Promise.all([page.waitForEvent("download"), page.click("#zip-folder")]);
    expect(zip.suggestedFilename() === "Kit.zip", "the zip named after the folder, not " + zip.suggestedFilename());
    const archive = path.join(workDir, "Kit.zip");
    await zip.saveAs(archive);
    const listed = execFileSync("unzip", ["-Z1", archive]).toString().trim().split("\n").sort();
    expect(listed.join() === "Kit/,Kit/drums/,Kit/drums/kick.wav,Kit/snare.wav", "the zip's entries: " + listed.join());
    execFileSync("unzip", ["-tq", archive]);
    await page.reload();
    await page.locator("#location", { hasText: "/Kit/" }).waitFor();
    await row("drums").waitFor();
    await page.goBack();
    await page.locator("#location", { hasText: /^\/$/ }).waitFor();
    await row("Seed.wav").waitFor();
    await page.goForward();
    await row("snare.wav").waitFor();
    const shared = await browser.newPage();
    await shared.goto(url + "#/Kit%20(1)/drums/");
    await shared.locator('#listing .row[data-name="kick.wav"]').waitFor();
    await shared.close();

    // Search finds items in every folder below the shown one, saying where they are.
    await page.goto(url + "#/");
    await row("Seed.wav").waitFor();
    await page.fill("#search", "KICK");
    await page.locator('#listing .row[data-path="/Kit (1)/drums/kick.wav"] .where', { hasText: "/Kit (1)/drums/" }).waitFor();
    expect((await names()).join() === "kick.wav,kick.wav", "both kicks found, not " + (await names()).join());
    // A folder found opens with what it holds.
    await page.fill("#search", "drums");
    await page.locator('#listing .row[data-path="/Kit (1)/drums"] a.folder-link').click();
    await row("kick.wav").waitFor();
    expect((await page.inputValue("#search")) === "", "the search ended when the folder opened");
    expect((await page.locator("#location").textContent()) === "/Kit (1)/drums/", "in the folder found");
    await page.goto(url + "#/");
    await row("Seed.wav").waitFor();

    // A WAV plays in the page, served in ranges; its download stays one click away.
    await page.setInputFiles("#file-input", [{ name: "Tone.wav", mimeType: "audio/wav", buffer: toneWav(2) }]);
    await row("Tone.wav").waitFor();
    const ranges = [];
    page.on("request", (r) => { if (r.url().includes("Tone.wav") && r.headers().range) ranges.push(r.headers().range); });
    await row("Tone.wav").locator("button", { hasText: "Play" }).click();
    await page.waitForFunction(() => {
      const audio = document.getElementById("audio");
      return !audio.paused && audio.currentTime > 0.3;
    });
    expect(await row("Tone.wav").locator("a.download").isVisible(), "the download beside the player");
    expect(await page.evaluate(() => document.getElementById("audio").duration > 1.9), "the WAV's length known");

    // Sorting: by size puts the larger file first, by name again alphabetically; folders stay on top.
    await page.click('.sort-key[data-key="size"]');
    let order = await names();
    expect(order.indexOf("Tone.wav") < order.indexOf("Seed.wav"), "the larger file first by size: " + order.join());
    expect(order[0] === "Kit" || order[0] === "Kit (1)", "folders on top: " + order.join());
    await page.click('.sort-key[data-key="name"]');
    order = await names();
    expect(order.indexOf("Seed.wav") < order.indexOf("Tone.wav"), "by name: " + order.join());
    await shot(page, "listing-1280.png");

    // A phone: every button inside the screen.
    await page.setViewportSize({ width: 375, height: 740 });
    let outside = await controlsOutside(page, 375);
    expect(outside.length === 0, "every control inside 375 px, but " + outside.join("; "));
    await shot(page, "listing-375.png");
    await row("Kit").locator("a.folder-link").click();
    await row("drums").waitFor();
    outside = await controlsOutside(page, 375);
    expect(outside.length === 0, "every control inside 375 px in a folder, but " + outside.join("; "));
    console.log("ranges asked: " + ranges.join(" "));
  });
}

runMain(main);
