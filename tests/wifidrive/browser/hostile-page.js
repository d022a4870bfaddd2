// Web pages that try to use the drive behind the person's back, in the same headless Chromium
// in which the person logged in to the drive: a page of another origin (served here, on another
// port of the same machine, so the session cookie goes along) sends fetch and XHR requests, form
// posts of every kind and image loads to every route that changes something, and shows the
// drive's page in a frame of its own; and a page whose
// name was made to point at this machine (DNS rebinding) asks the drive in its own name. The
// test around this script checks on disk that nothing changed.
// Usage: node hostile-page.js URL WORK_DIR PASSWORD
"use strict";
const { expect, withBrowser, runMain } = require("./browser");
const http = require("http");

const [url, workDir, password] = process.argv.slice(2);
const drive = url.replace(/\/$/, "");
const drivePort = new URL(url).port;

// Every change the drive offers, as a person's page would ask for it.
const kChanges = [
  ["/delete", { path: "/Seed.wav" }],
  ["/move", { oldPath: "/Seed.wav", newPath: "/Stolen.wav" }],
  ["/create", { path: "/Planted" }],
  ["/upload", { path: "/" }],
  ["/upload-chunk?id=hostilehostilehostile&offset=0&size=7&path=%2F&name=Planted.wav", {}],
  ["/logout", {}],
  ["/login", { password: "guess" }],
];

// Runs in the hostile page; reports what it could see.
async function attack([drive, changes]) {
  const seen = [];
  const formBody = (fields) => new URLSearchParams(fields).toString();
  // Each form's answer is in the frame before the next form goes (a new one would cancel it).
  const submitted = (form) => new Promise((done) => {
    const sink = document.querySelector("iframe[name=sink]");
    const timer = setTimeout(done, 5000);
    sink.addEventListener("load", () => { clearTimeout(timer); done(); }, { once: true });
    form.submit();
  });
  for (const [route, fields] of changes) {
    for (const credentials of ["omit", "include"]) {
      for (const mode of ["no-cors", "cors"]) {
        const body = route === "/upload" ? new FormData() : formBody(fields);
        if (route === "/upload") { body.append("path", "/"); body.append("files[]", new Blob(["planted"]), "Planted.wav"); }
        const headers = route === "/upload" ? {} : { "Content-Type": "application/x-www-form-urlencoded" };
        try {
          const r = await fetch(drive + route, { method: "POST", mode, credentials, headers, body });
          if (r.type !== "opaque") seen.push("fetch read " + route + " " + r.status);
        } catch (e) { /* refused by the browser: the request may still have gone out */ }
      }
    }
    await new Promise((done) => {
      const xhr = new XMLHttpRequest();
      xhr.open("POST", drive + route);
      xhr.withCredentials = true;
      xhr.setRequestHeader("Content-Type", "application/x-www-form-urlencoded");
      xhr.onloadend = () => { if (xhr.status !== 0) seen.push("xhr read " + route + " " + xhr.status); done(); };
      xhr.send(formBody(fields));
    });
    for (const enctype of ["application/x-www-form-urlencoded", "multipart/form-data", "text/plain"]) {
      const form = document.createElement("form");
      Object.assign(form, { method: "POST", action: drive + route, target: "sink", enctype });
      for (const [name, value] of Object.entries(fields)) {
        const input = document.createElement("input");
        Object.assign(input, { name, value });
        form.appendChild(input);
      }
      if (route === "/upload") {
        const input = document.createElement("input");
        Object.assign(input, { type: "file", name: "files[]" });
        const files = new DataTransfer();
        files.items.add(new File(["planted"], "Planted.wav"));
        input.files = files.files;
        form.appendChild(input);
      }
      document.body.appendChild(form);
      await submitted(form);
      form.remove();
    }
    // The same as a GET, which browsers send from anywhere without asking.
    await new Promise((done) => {
      const image = new Image();
      image.onload = image.onerror = done;
      image.src = drive + route + (route.includes("?") ? "&" : "?") + formBody(fields);
    });
  }
  // A form without a referrer, and one from a sandboxed frame (Origin "null").
  const form = document.createElement("form");
  Object.assign(form, { method: "POST", action: drive + "/delete", target: "sink" });
  form.setAttribute("rel", "noreferrer");
  form.innerHTML = '<input name="path" value="/Seed.wav">';
  document.body.appendChild(form);
  await submitted(form);
  const sandboxed = document.createElement("iframe");
  sandboxed.sandbox = "allow-scripts allow-forms";
  sandboxed.srcdoc = '<form method="post" action="' + drive + '/delete"><input name="path" value="/Seed.wav"></form>' +
    "<script>document.forms[0].submit()<\/script>";
  await new Promise((done) => {
    // Its form goes while its own page is read; the drive's answer follows soon after.
    sandboxed.onload = () => setTimeout(done, 1000);
    document.body.appendChild(sandboxed);
  });
  // Reading what the drive holds.
  try {
    const r = await fetch(drive + "/list?path=/", { credentials: "include" });
    seen.push("read the listing: " + (await r.text()).slice(0, 40));
  } catch (e) { /* not readable: as it should be */ }
  return seen;
}

function hostileServer() {
  const page = "<!DOCTYPE html><title>Cute cats</title><iframe name=sink></iframe>";
  const server = http.createServer((request, response) => {
    response.writeHead(200, { "Content-Type": "text/html" });
    response.end(page);
  });
  return new Promise((resolve) => server.listen(0, "127.0.0.1", () => resolve(server)));
}

async function main() {
  const server = await hostileServer();
  try {
    await withBrowser(workDir, async (page) => {
      // The person logs in to the drive first: their session cookie is at stake.
      await page.goto(url);
      await page.fill("#password", password);
      await page.click("#login");
      await page.locator('#listing .row[data-name="Seed.wav"]').waitFor();

      await page.goto("http://127.0.0.1:" + server.address().port + "/");
      const seen = await page.evaluate(attack, [drive, kChanges]);
      expect(seen.length === 0, "the hostile page could read nothing, but: " + seen.join("; "));

      // The drive's page inside the hostile one, where a click meant for the cats could land on
      // Delete: the browser must not show it there.
      await page.evaluate((drive) => new Promise((loaded) => {
        const frame = document.createElement("iframe");
        frame.onload = loaded;
        frame.src = drive + "/";
        document.body.appendChild(frame);
      }), drive);
      for (const frame of page.frames().filter((f) => f !== page.mainFrame())) {
        const shown = await frame.evaluate(() => document.querySelectorAll("#listing, #password").length).catch(() => 0);
        expect(shown === 0, "no page of the drive inside another site's page (" + frame.url() + ")");
      }

      // DNS rebinding: a page from a name that now points at this machine asks the drive as
      // its own origin (here the page comes from the test, the rest from the drive).
      const rebound = "http://rebound.example:" + drivePort;
      await page.route(rebound + "/cats.html", (route) => route.fulfill({ contentType: "text/html", body: "<title>cats</title>" }));
      await page.goto(rebound + "/cats.html");
      const statuses = await page.evaluate(async (changes) => {
        const out = [];
        for (const [route, fields] of changes) {
          const r = await fetch(route, { method: "POST", body: new URLSearchParams(fields) });
          out.push(r.status);
        }
        for (const read of ["/list?path=/", "/download?path=Seed.wav", "/zip?path=/", "/"]) out.push((await fetch(read)).status);
        return out;
      }, kChanges);
      expect(statuses.every((s) => s === 403), "every request of the rebound page refused, not " + statuses.join(" "));
    }, ["--host-resolver-rules=MAP rebound.example 127.0.0.1",
        // Chromium's own guard against pages of the internet reaching this machine stands aside: the drive's is tested.
        "--disable-features=LocalNetworkAccessChecks,BlockInsecurePrivateNetworkRequests,PrivateNetworkAccessSendPreflights,PrivateNetworkAccessRespectPreflightResults"]);
  } finally {
    server.close();
  }
}

runMain(main);
