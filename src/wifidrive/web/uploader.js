// The browser side of the uploader's routes: /list, /search, /download, /zip, /upload,
// /upload-chunk, /move, /delete, /create. The folder shown lives in the address (#/path/), so Back, Reload and a
// shared link stay in it.
(function () {
  "use strict";

  var kParallelUploads = 3;
  var kResumableBytes = 8 * 1024 * 1024;  // larger files go in pieces that survive a dropped connection
  var kPieceBytes = 8 * 1024 * 1024;
  var kResumeRetries = 10;       // about 45 s of waiting for a drive that went away
  var kResumeDelayMs = 1000;
  var kResumeMaxDelays = 5;     // the wait grows by kResumeDelayMs up to this many times it
  var kSearchDelayMs = 250;
  var kLargeListing = 500;  // rows beyond which those out of sight are not laid out
  var kPlayableTypes = {
    wav: "audio/wav", wave: "audio/wav", mp3: "audio/mpeg", m4a: "audio/mp4", aac: "audio/aac",
    flac: "audio/flac", ogg: "audio/ogg", oga: "audio/ogg", opus: "audio/ogg; codecs=opus",
    aif: "audio/aiff", aiff: "audio/aiff", caf: "audio/x-caf", webm: "audio/webm"
  };

  var currentPath = null;
  var shownEntries = [];
  var sortKey = "name";
  var descending = false;
  var searchTimer = 0;
  var $ = function (id) { return document.getElementById(id); };

  // --- addresses -----------------------------------------------------------------------------

  function folderHash(path) {
    return "#" + encodeURIComponent(path).replace(/%2F/g, "/");
  }

  function pathFromHash() {
    var text = location.hash.slice(1);
    try { text = decodeURIComponent(text); } catch (e) { text = ""; }
    if (text.charAt(0) !== "/") text = "/" + text;
    if (text.slice(-1) !== "/") text += "/";
    return text;
  }

  function parentOf(path) {
    var trimmed = path.replace(/\/+$/, "");
    var slash = trimmed.lastIndexOf("/");
    return slash <= 0 ? "/" : trimmed.slice(0, slash + 1);
  }

  function downloadURL(path) { return "/download?path=" + encodeURIComponent(path); }

  // --- requests ------------------------------------------------------------------------------

  function showError(text) {
    var box = $("error");
    box.textContent = text;
    box.hidden = !text;
  }

  function failureText(xhr) {
    if (xhr.status === 0) return "The server could not be reached.";
    // The drive asks for its password again (it started anew, or the password changed).
    if (xhr.status === 401) location.reload();
    return xhr.responseText || ("Error " + xhr.status);
  }

  function request(method, url, fields, onSuccess, onFailure) {
    var xhr = new XMLHttpRequest();
    xhr.open(method, url);
    xhr.setRequestHeader("Accept", "application/json");
    var failed = function () {
      showError(failureText(xhr));
      if (onFailure) onFailure(xhr);
    };
    xhr.onload = function () {
      if (xhr.status >= 200 && xhr.status < 300) {
        showError("");
        onSuccess(xhr);
      } else {
        failed();
      }
    };
    xhr.onerror = failed;
    if (fields) {
      xhr.setRequestHeader("Content-Type", "application/x-www-form-urlencoded");
      xhr.send(new URLSearchParams(fields).toString());
    } else {
      xhr.send();
    }
  }

  function post(url, fields, onSuccess, onFailure) {
    request("POST", url, fields, onSuccess || function () { refresh(); }, onFailure);
  }

  // --- listing -------------------------------------------------------------------------------

  function searchText() { return $("search").value.trim(); }

  function refresh() {
    if (searchText()) search(); else list(currentPath);
  }

  function list(path) {
    request("GET", "/list?path=" + encodeURIComponent(path), null, function (xhr) {
      if (path !== currentPath || searchText()) return;  // the user went on meanwhile
      render(JSON.parse(xhr.responseText), false, false);
    });
  }

  function search() {
    var path = currentPath, query = searchText();
    request("GET", "/search?path=" + encodeURIComponent(path) + "&query=" + encodeURIComponent(query), null,
      function (xhr) {
        if (path !== currentPath || query !== searchText()) return;
        var result = JSON.parse(xhr.responseText);
        render(result.items, true, result.truncated);
      });
  }

  function showFolder(path) {
    // A folder opened (from a search result too) shows what it holds, not the search within it.
    if (currentPath !== null && path !== currentPath) {
      clearTimeout(searchTimer);
      $("search").value = "";
    }
    currentPath = path;
    $("location").textContent = path;
    var folderName = path === "/" ? originalTitle : path.replace(/\/+$/, "").split("/").pop();
    $("zip-folder").href = "/zip?path=" + encodeURIComponent(path === "/" ? "/" : path.replace(/\/+$/, ""));
    $("zip-folder").setAttribute("download", folderName + ".zip");
    $("up-button").disabled = path === "/";
    document.title = path === "/" ? originalTitle : originalTitle + " \u2013 " + path;
    refresh();
  }

  function isFolder(entry) { return entry.path.slice(-1) === "/"; }

  // One collator for every comparison: made anew per call, it costs seconds on large folders.
  var nameOrder = new Intl.Collator(undefined, { numeric: true, sensitivity: "base" });

  function compareEntries(a, b) {
    var folderA = isFolder(a), folderB = isFolder(b);
    if (folderA !== folderB) return folderA ? -1 : 1;
    var order = 0;
    if (sortKey === "date") order = (a.date || 0) - (b.date || 0);
    else if (sortKey === "size") order = (a.size || 0) - (b.size || 0);
    if (order === 0) order = nameOrder.compare(a.name, b.name);
    return descending ? -order : order;
  }

  function formatSize(bytes) {
    if (bytes < 1024) return bytes + " B";
    var units = ["KiB", "MiB", "GiB", "TiB"];
    var value = bytes;
    var unit = -1;
    do { value /= 1024; unit++; } while (value >= 1024 && unit < units.length - 1);
    return value.toFixed(1) + " " + units[unit];
  }

  function formatDate(seconds) {
    if (!seconds) return "";
    var d = new Date(seconds * 1000);
    var two = function (n) { return (n < 10 ? "0" : "") + n; };
    return d.getFullYear() + "-" + two(d.getMonth() + 1) + "-" + two(d.getDate()) + " " +
      two(d.getHours()) + ":" + two(d.getMinutes());
  }

  function element(tag, className, text) {
    var e = document.createElement(tag);
    if (className) e.className = className;
    if (text !== undefined) e.textContent = text;
    return e;
  }

  function button(label, title, onClick) {
    var b = element("button", "", label);
    b.type = "button";
    b.title = title;
    b.addEventListener("click", onClick);
    return b;
  }

  function playableType(name) {
    var dot = name.lastIndexOf(".");
    var type = dot > 0 ? kPlayableTypes[name.slice(dot + 1).toLowerCase()] : null;
    return type && $("audio").canPlayType(type) ? type : null;
  }

  function render(entries, searching, truncated) {
    shownEntries = entries;
    var body = $("listing");
    body.textContent = "";
    body.classList.toggle("large", entries.length > kLargeListing);
    entries.slice().sort(compareEntries).forEach(function (entry) {
      var folder = isFolder(entry);
      var itemPath = folder ? entry.path.slice(0, -1) : entry.path;
      var row = element("div", "row");
      row.setAttribute("role", "listitem");
      row.dataset.name = entry.name;
      row.dataset.path = itemPath;
      var nameCell = element("span", "name");
      if (folder) {
        var link = element("a", "folder-link", entry.name + "/");
        link.href = folderHash(entry.path);
        nameCell.appendChild(link);
      } else {
        nameCell.appendChild(element("span", "file-name", entry.name));
      }
      if (searching) nameCell.appendChild(element("span", "where", parentOf(entry.path)));
      var actions = element("span", "actions");
      var type = folder ? null : playableType(entry.name);
      if (type) {
        actions.appendChild(button("Play", "Play in the page", function () { play(entry, row); }));
      }
      var download = element("a", folder ? "button zip" : "button download", folder ? "Zip" : "Download");
      download.href = folder ? "/zip?path=" + encodeURIComponent(itemPath) : downloadURL(entry.path);
      download.setAttribute("download", folder ? entry.name + ".zip" : entry.name);
      download.title = folder ? "Download the folder as a zip archive" : "Download";
      actions.appendChild(download);
      actions.appendChild(button("Move\u2026", "Rename or move", function () {
        var target = window.prompt("New path for \u201c" + entry.name + "\u201d", itemPath);
        if (target && target !== itemPath) post("/move", { oldPath: itemPath, newPath: target });
      }));
      // The drive may keep folders from being deleted: then they offer no Delete that would only fail.
      if (!folder || document.body.dataset.deletesFolders !== "no") {
        actions.appendChild(button("Delete", "Delete", function () {
          if (window.confirm("Delete \u201c" + entry.name + "\u201d?")) post("/delete", { path: itemPath });
        }));
      }
      row.appendChild(nameCell);
      row.appendChild(element("span", "date", formatDate(entry.date)));
      row.appendChild(element("span", "size", folder ? "" : formatSize(entry.size)));
      row.appendChild(actions);
      if ($("audio").dataset.path === entry.path) row.classList.add("playing");
      body.appendChild(row);
    });
    $("empty").textContent = searching ? "Nothing found." : "This folder is empty.";
    $("empty").hidden = entries.length > 0;
    $("truncated").hidden = !truncated;
    Array.prototype.forEach.call(document.querySelectorAll(".sort-key"), function (b) {
      b.classList.toggle("active", b.dataset.key === sortKey);
      b.classList.toggle("descending", b.dataset.key === sortKey && descending);
    });
  }

  // --- playback ------------------------------------------------------------------------------

  function play(entry, row) {
    var audio = $("audio");
    // Served with byte ranges, so the player can seek without fetching the whole file.
    audio.src = downloadURL(entry.path);
    audio.dataset.path = entry.path;
    $("player-name").textContent = entry.name;
    $("player").hidden = false;
    Array.prototype.forEach.call(document.querySelectorAll(".row.playing"), function (r) {
      r.classList.remove("playing");
    });
    row.classList.add("playing");
    var started = audio.play();
    if (started && started.catch) started.catch(function () {});
  }

  function closePlayer() {
    var audio = $("audio");
    audio.pause();
    audio.removeAttribute("src");
    delete audio.dataset.path;
    audio.load();
    $("player").hidden = true;
    Array.prototype.forEach.call(document.querySelectorAll(".row.playing"), function (r) {
      r.classList.remove("playing");
    });
  }

  // --- uploads -------------------------------------------------------------------------------

  var queue = [];
  var running = 0;
  var totals = { bytes: 0, done: 0, files: 0, finished: 0, failed: 0, skipped: 0 };

  function updateOverall() {
    var bar = $("overall");
    bar.max = totals.bytes || 1;
    bar.value = totals.done;
    var text = totals.finished + " of " + totals.files + " files";
    if (totals.failed) text += ", " + totals.failed + " failed";
    if (totals.skipped) text += ", " + totals.skipped + (totals.skipped === 1 ? " hidden item" : " hidden items") + " left out";
    $("overall-text").textContent = text;
    $("transfers").hidden = totals.files === 0 && totals.skipped === 0;
  }

  // Each job: { file, folder } where folder is the destination's path ("/a/b/"); skipped: how
  // many items were left out of what the person chose.
  function enqueue(jobs, skipped) {
    if (!jobs.length && !skipped) return;
    if (running === 0 && queue.length === 0 && totals.finished === totals.files) {
      totals = { bytes: 0, done: 0, files: 0, finished: 0, failed: 0, skipped: 0 };
      $("uploads").textContent = "";
    }
    jobs.forEach(function (job) {
      job.item = element("li");
      job.item.appendChild(element("span", "upload-name", job.folder + job.file.name));
      job.bar = element("progress");
      job.bar.max = job.file.size || 1;
      job.bar.value = 0;
      job.state = element("span", "state", "Waiting");
      job.item.appendChild(job.bar);
      job.item.appendChild(job.state);
      $("uploads").appendChild(job.item);
      job.loaded = 0;
      totals.bytes += job.file.size;
      totals.files++;
      queue.push(job);
    });
    totals.skipped += skipped || 0;
    updateOverall();
    pump();
  }

  function pump() {
    while (running < kParallelUploads && queue.length) send(queue.shift());
  }

  function setProgress(job, loaded) {
    loaded = Math.min(loaded, job.file.size);
    totals.done += loaded - job.loaded;
    job.loaded = loaded;
    job.bar.value = loaded;
    updateOverall();
  }

  function finishJob(job, ok, xhr) {
    running--;
    totals.finished++;
    if (ok) {
      setProgress(job, job.file.size);
      job.bar.value = job.bar.max;
      job.state.textContent = "Done";
      job.state.className = "state done";
    } else {
      totals.failed++;
      job.state.textContent = "Failed";
      job.state.className = "state failed";
      job.item.appendChild(job.retry = button("Retry", "Send this file again", function () { retry(job); }));
      showError(failureText(xhr));
    }
    updateOverall();
    if (ok && (job.folder === currentPath || searchText())) refresh();
    pump();
  }

  // A large file goes on from what the drive already holds of it.
  function retry(job) {
    job.item.removeChild(job.retry);
    totals.finished--;
    totals.failed--;
    setProgress(job, 0);
    job.state.textContent = "Waiting";
    job.state.className = "state";
    queue.push(job);
    updateOverall();
    pump();
  }

  function send(job) {
    running++;
    if (job.file.size > kResumableBytes) {
      sendInPieces(job);
      return;
    }
    var form = new FormData();
    form.append("path", job.folder);
    form.append("files[]", job.file, job.file.name);
    var xhr = new XMLHttpRequest();
    xhr.open("POST", "/upload");
    xhr.setRequestHeader("Accept", "application/json");
    xhr.upload.onprogress = function (e) {
      // The multipart envelope makes the total a little larger than the file.
      if (e.lengthComputable && e.total) setProgress(job, job.file.size * e.loaded / e.total);
    };
    xhr.onload = function () { finishJob(job, xhr.status >= 200 && xhr.status < 300, xhr); };
    xhr.onerror = function () { finishJob(job, false, xhr); };
    job.state.textContent = "Sending";
    xhr.send(form);
  }

  // Large files go in pieces to /upload-chunk under an id of their own; when a connection
  // drops, the page asks how much arrived and goes on from there. The id is kept in the
  // browser for the same file to the same folder, so sending it again after the drive was
  // away longer, or after the page was closed, goes on too.
  function newUploadId() {
    var bytes = new Uint8Array(16);
    crypto.getRandomValues(bytes);
    return Array.prototype.map.call(bytes, function (b) { return (b < 16 ? "0" : "") + b.toString(16); }).join("");
  }

  function keptUploadIds() {
    try { return window.localStorage; } catch (e) { return null; }  // storage may be switched off
  }

  function sendInPieces(job) {
    var kept = keptUploadIds();
    var key = "upload\n" + job.folder + "\n" + job.file.name + "\n" + job.file.size + "\n" + job.file.lastModified;
    var stored = kept && kept.getItem(key);
    var id = stored || newUploadId();
    if (kept) kept.setItem(key, id);
    var offset = 0;
    var retries = 0;
    var base = "/upload-chunk?id=" + id;
    var finish = function (ok, xhr) {
      // An answer of the drive settles the upload; only a drive out of reach leaves it to go on later.
      if (kept && (ok || xhr.status !== 0)) kept.removeItem(key);
      finishJob(job, ok, xhr);
    };
    var heldFrom = function (xhr) {
      try { return JSON.parse(xhr.responseText).offset; } catch (e) { return -1; }
    };
    // Where the upload stands on the drive, then on from there.
    var ask = function () {
      var xhr = new XMLHttpRequest();
      xhr.open("GET", base);
      xhr.setRequestHeader("Accept", "application/json");
      xhr.onload = function () {
        if (xhr.status !== 200 || heldFrom(xhr) < 0) { finish(false, xhr); return; }
        offset = heldFrom(xhr);
        setProgress(job, offset);
        // The drive had it all: the answer of the last piece was what got lost.
        if (offset >= job.file.size) finish(true, xhr);
        else next();
      };
      xhr.onerror = function () { resume(xhr); };
      job.state.textContent = "Resuming";
      xhr.send();
    };
    // After a dropped connection: wait a little longer each time, then ask where it stands.
    var resume = function (xhr) {
      if (++retries > kResumeRetries) { finish(false, xhr); return; }
      job.state.textContent = "Resuming";
      setTimeout(ask, kResumeDelayMs * Math.min(retries, kResumeMaxDelays));
    };
    var next = function () {
      var end = Math.min(offset + kPieceBytes, job.file.size);
      var xhr = new XMLHttpRequest();
      xhr.open("POST", base + "&offset=" + offset + "&size=" + job.file.size +
        "&path=" + encodeURIComponent(job.folder) + "&name=" + encodeURIComponent(job.file.name));
      xhr.setRequestHeader("Accept", "application/json");
      xhr.setRequestHeader("Content-Type", "application/octet-stream");
      xhr.upload.onprogress = function (e) { setProgress(job, offset + e.loaded); };
      xhr.onload = function () {
        var held = heldFrom(xhr);
        if ((xhr.status === 200 || xhr.status === 409) && held >= 0) {
          offset = held;
          setProgress(job, offset);
          if (offset >= job.file.size) finish(true, xhr);
          else if (xhr.status === 200) { retries = 0; next(); }
          // The connection that dropped still holds the upload on the drive until the drive
          // gives up on it: wait, as after a drop, rather than asking again at once.
          else resume(xhr);
        } else {
          finish(false, xhr);
        }
      };
      xhr.onerror = function () { resume(xhr); };
      job.state.textContent = "Sending";
      xhr.send(job.file.slice(offset, end));
    };
    if (stored) ask();
    else next();
  }

  // " (%i)" as the server names a taken folder, so the client knows the name it will get.
  function freeName(name, taken) {
    if (!taken[name]) return name;
    for (var i = 1; ; i++) {
      var candidate = name + " (" + i + ")";
      if (!taken[candidate]) return candidate;
    }
  }

  function createFolders(paths, done) {
    if (!paths.length) { done(true); return; }
    post("/create", { path: paths[0] }, function () { createFolders(paths.slice(1), done); },
      function () { done(false); });
  }

  // items: [{ file, relative }] where relative is "Top/sub/name.wav" (or just "name.wav").
  function uploadTree(items, folders) {
    var base = currentPath;
    var skipped = 0;
    // The drive takes no names that start with a point: such files and folders in what was
    // chosen (".DS_Store", ".git") are left out, rather than failing one by one or stopping a
    // whole folder.
    if (document.body.dataset.hiddenItems === "no") {
      var shown = function (relative) {
        return !relative.split("/").some(function (part) { return part.charAt(0) === "."; });
      };
      // Counted as the person sees them: a hidden folder is one item, whatever it holds.
      var hiddenItself = function (relative) {
        var parts = relative.split("/");
        return parts[parts.length - 1].charAt(0) === "." && shown(parts.slice(0, -1).join("/"));
      };
      skipped = items.filter(function (i) { return hiddenItself(i.relative); }).length + folders.filter(hiddenItself).length;
      var inFolders = {};
      items.forEach(function (i) {
        var parts = i.relative.split("/");
        for (var n = 1; n < parts.length; n++) inFolders[parts.slice(0, n).join("/")] = true;
      });
      // A folder known only from its files' paths (the folder picker gives no folders) counts too.
      Object.keys(inFolders).forEach(function (f) { if (folders.indexOf(f) < 0 && hiddenItself(f)) skipped++; });
      items = items.filter(function (i) { return shown(i.relative); });
      folders = folders.filter(shown);
    }
    var hasFolders = folders.length || items.some(function (i) { return i.relative.indexOf("/") >= 0; });
    if (!hasFolders) {
      enqueue(items.map(function (i) { return { file: i.file, folder: base }; }), skipped);
      return;
    }
    // A dropped folder whose name is taken arrives beside it under a free name.
    request("GET", "/list?path=" + encodeURIComponent(base), null, function (xhr) {
      var taken = {};
      JSON.parse(xhr.responseText).forEach(function (e) { taken[e.name] = true; });
      var renamed = {};
      var topOf = function (relative) { return relative.split("/")[0]; };
      var mapped = function (relative) {
        var top = topOf(relative);
        if (!(top in renamed)) { renamed[top] = freeName(top, taken); taken[renamed[top]] = true; }
        return renamed[top] + relative.slice(top.length);
      };
      var wanted = {};
      folders.forEach(function (f) { wanted[mapped(f)] = true; });
      items.forEach(function (i) {
        var parts = i.relative.split("/");
        for (var n = 1; n < parts.length; n++) wanted[mapped(parts.slice(0, n).join("/"))] = true;
      });
      var order = Object.keys(wanted).sort(function (a, b) { return a.split("/").length - b.split("/").length; });
      createFolders(order.map(function (f) { return base + f; }), function (ok) {
        if (!ok) return;
        enqueue(items.map(function (i) {
          var relative = i.relative.indexOf("/") >= 0 ? mapped(i.relative) : i.relative;
          return { file: i.file, folder: base + parentOf("/" + relative).slice(1) };
        }), skipped);
        if (searchText()) search(); else list(currentPath);
      });
    });
  }

  // Walks dropped entries; folders are read in batches until the browser has no more.
  function collectEntries(entries, done) {
    var items = [], folders = [], pending = 0;
    var finishOne = function () { if (--pending === 0) done(items, folders); };
    var visit = function (entry, prefix) {
      pending++;
      if (entry.isFile) {
        entry.file(function (file) { items.push({ file: file, relative: prefix + file.name }); finishOne(); },
          finishOne);
      } else if (entry.isDirectory) {
        var folder = prefix + entry.name;
        folders.push(folder);
        var reader = entry.createReader();
        var readBatch = function () {
          reader.readEntries(function (batch) {
            if (!batch.length) { finishOne(); return; }
            batch.forEach(function (child) { visit(child, folder + "/"); });
            readBatch();
          }, finishOne);
        };
        readBatch();
      } else {
        finishOne();
      }
    };
    pending++;
    entries.forEach(function (e) { visit(e, ""); });
    finishOne();
  }

  function dropped(dataTransfer) {
    var entries = [];
    if (dataTransfer.items && dataTransfer.items.length && dataTransfer.items[0].webkitGetAsEntry) {
      // Entries must be taken while the drop event lasts.
      Array.prototype.forEach.call(dataTransfer.items, function (item) {
        var entry = item.kind === "file" ? item.webkitGetAsEntry() : null;
        if (entry) entries.push(entry);
      });
    }
    if (entries.length) {
      collectEntries(entries, uploadTree);
    } else if (dataTransfer.files && dataTransfer.files.length) {
      uploadTree(Array.prototype.map.call(dataTransfer.files, function (f) { return { file: f, relative: f.name }; }), []);
    }
  }

  // --- wiring --------------------------------------------------------------------------------

  var originalTitle = document.title;

  $("up-button").addEventListener("click", function () { location.hash = folderHash(parentOf(currentPath)); });
  $("reload-button").addEventListener("click", refresh);
  $("create-button").addEventListener("click", function () {
    var name = window.prompt("Name of the new folder", "Untitled folder");
    if (name) post("/create", { path: currentPath + name });
  });
  $("file-input").addEventListener("change", function (e) {
    uploadTree(Array.prototype.map.call(e.target.files, function (f) { return { file: f, relative: f.name }; }), []);
    e.target.value = "";
  });
  $("folder-input").addEventListener("change", function (e) {
    uploadTree(Array.prototype.map.call(e.target.files, function (f) {
      return { file: f, relative: f.webkitRelativePath || f.name };
    }), []);
    e.target.value = "";
  });
  $("search").addEventListener("input", function () {
    clearTimeout(searchTimer);
    searchTimer = setTimeout(refresh, kSearchDelayMs);
  });
  Array.prototype.forEach.call(document.querySelectorAll(".sort-key"), function (b) {
    b.addEventListener("click", function () {
      descending = sortKey === b.dataset.key ? !descending : b.dataset.key !== "name";
      sortKey = b.dataset.key;
      render(shownEntries, !!searchText(), !$("truncated").hidden);
    });
  });
  $("player-close").addEventListener("click", closePlayer);

  // Only a drag that carries files shows the overlay; dragging text or a link does not.
  var dragDepth = 0;
  var carriesFiles = function (e) {
    return e.dataTransfer && Array.prototype.indexOf.call(e.dataTransfer.types || [], "Files") >= 0;
  };
  document.addEventListener("dragenter", function (e) {
    if (!carriesFiles(e)) return;
    e.preventDefault();
    dragDepth++;
    $("drop-zone").hidden = false;
  });
  document.addEventListener("dragleave", function (e) {
    if (!carriesFiles(e)) return;
    if (--dragDepth <= 0) { dragDepth = 0; $("drop-zone").hidden = true; }
  });
  document.addEventListener("dragover", function (e) { if (carriesFiles(e)) e.preventDefault(); });
  document.addEventListener("drop", function (e) {
    if (!carriesFiles(e)) return;
    e.preventDefault();
    dragDepth = 0;
    $("drop-zone").hidden = true;
    dropped(e.dataTransfer);
  });

  window.addEventListener("hashchange", function () {
    if (pathFromHash() !== currentPath) showFolder(pathFromHash());
  });
  showFolder(pathFromHash());
})();
