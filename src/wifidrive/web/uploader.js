// The browser side of the uploader's routes: /list, /download, /upload, /move, /delete, /create.
(function () {
  "use strict";

  var currentPath = "/";
  var $ = function (id) { return document.getElementById(id); };

  function showError(text) {
    var box = $("error");
    box.textContent = text;
    box.hidden = !text;
  }

  function failureText(xhr) {
    if (xhr.status === 0) return "The server could not be reached.";
    return xhr.responseText || ("Error " + xhr.status);
  }

  function formatSize(bytes) {
    if (bytes < 1024) return bytes + " B";
    var units = ["KiB", "MiB", "GiB", "TiB"];
    var value = bytes;
    var unit = -1;
    do { value /= 1024; unit++; } while (value >= 1024 && unit < units.length - 1);
    return value.toFixed(1) + " " + units[unit];
  }

  function parentOf(path) {
    var trimmed = path.replace(/\/+$/, "");
    var slash = trimmed.lastIndexOf("/");
    return slash <= 0 ? "/" : trimmed.slice(0, slash + 1);
  }

  function request(method, url, fields, onSuccess) {
    var xhr = new XMLHttpRequest();
    xhr.open(method, url);
    xhr.setRequestHeader("Accept", "application/json");
    xhr.onload = function () {
      if (xhr.status >= 200 && xhr.status < 300) {
        showError("");
        onSuccess(xhr);
      } else {
        showError(failureText(xhr));
      }
    };
    xhr.onerror = function () { showError(failureText(xhr)); };
    if (fields) {
      xhr.setRequestHeader("Content-Type", "application/x-www-form-urlencoded");
      xhr.send(new URLSearchParams(fields).toString());
    } else {
      xhr.send();
    }
  }

  function post(url, fields) {
    request("POST", url, fields, function () { list(currentPath); });
  }

  function list(path) {
    request("GET", "/list?path=" + encodeURIComponent(path), null, function (xhr) {
      currentPath = path;
      render(JSON.parse(xhr.responseText));
    });
  }

  function button(label, title, onClick) {
    var b = document.createElement("button");
    b.type = "button";
    b.textContent = label;
    b.title = title;
    b.addEventListener("click", onClick);
    return b;
  }

  function render(entries) {
    $("location").textContent = currentPath;
    $("up-button").disabled = currentPath === "/";
    var body = $("listing");
    body.textContent = "";
    entries.sort(function (a, b) {
      var folderA = a.path.slice(-1) === "/", folderB = b.path.slice(-1) === "/";
      if (folderA !== folderB) return folderA ? -1 : 1;
      return a.name.localeCompare(b.name);
    });
    entries.forEach(function (entry) {
      var isFolder = entry.path.slice(-1) === "/";
      var row = document.createElement("tr");
      row.dataset.name = entry.name;
      var nameCell = document.createElement("td");
      nameCell.className = "name";
      if (isFolder) {
        var folder = document.createElement("a");
        folder.className = "folder-link";
        folder.textContent = entry.name + "/";
        folder.addEventListener("click", function () { list(entry.path); });
        nameCell.appendChild(folder);
      } else {
        nameCell.textContent = entry.name;
      }
      var sizeCell = document.createElement("td");
      sizeCell.className = "size";
      sizeCell.textContent = isFolder ? "" : formatSize(entry.size);
      var actions = document.createElement("td");
      actions.className = "actions";
      if (!isFolder) {
        var download = document.createElement("a");
        download.className = "button download";
        download.href = "/download?path=" + encodeURIComponent(entry.path);
        download.setAttribute("download", entry.name);
        download.textContent = "Download";
        actions.appendChild(download);
      }
      var itemPath = isFolder ? entry.path.slice(0, -1) : entry.path;
      actions.appendChild(button("Move\u2026", "Rename or move", function () {
        var target = window.prompt("New path for \u201c" + entry.name + "\u201d", itemPath);
        if (target && target !== itemPath) post("/move", { oldPath: itemPath, newPath: target });
      }));
      actions.appendChild(button("Delete", "Delete", function () {
        if (window.confirm("Delete \u201c" + entry.name + "\u201d?")) post("/delete", { path: itemPath });
      }));
      row.appendChild(nameCell);
      row.appendChild(sizeCell);
      row.appendChild(actions);
      body.appendChild(row);
    });
    $("empty").hidden = entries.length > 0;
  }

  function upload(files) {
    var folder = currentPath;
    Array.prototype.forEach.call(files, function (file) {
      var item = document.createElement("li");
      var name = document.createElement("span");
      name.textContent = file.name;
      var bar = document.createElement("progress");
      bar.max = file.size || 1;
      bar.value = 0;
      var state = document.createElement("span");
      item.appendChild(name);
      item.appendChild(bar);
      item.appendChild(state);
      $("uploads").appendChild(item);

      var form = new FormData();
      form.append("path", folder);
      form.append("files[]", file, file.name);
      var xhr = new XMLHttpRequest();
      xhr.open("POST", "/upload");
      xhr.setRequestHeader("Accept", "application/json");
      xhr.upload.onprogress = function (e) { if (e.lengthComputable) { bar.max = e.total; bar.value = e.loaded; } };
      xhr.onload = function () {
        if (xhr.status >= 200 && xhr.status < 300) {
          bar.value = bar.max;
          state.textContent = "Done";
          state.className = "done";
          if (folder === currentPath) list(currentPath);
        } else {
          state.textContent = "Failed";
          state.className = "failed";
          showError(failureText(xhr));
        }
      };
      xhr.onerror = function () {
        state.textContent = "Failed";
        state.className = "failed";
        showError(failureText(xhr));
      };
      xhr.send(form);
    });
  }

  $("up-button").addEventListener("click", function () { list(parentOf(currentPath)); });
  $("reload-button").addEventListener("click", function () { list(currentPath); });
  $("create-button").addEventListener("click", function () {
    var name = window.prompt("Name of the new folder", "Untitled folder");
    if (name) post("/create", { path: currentPath + name });
  });
  $("file-input").addEventListener("change", function (e) {
    upload(e.target.files);
    e.target.value = "";
  });

  var dragDepth = 0;
  document.addEventListener("dragenter", function (e) {
    e.preventDefault();
    dragDepth++;
    $("drop-zone").hidden = false;
  });
  document.addEventListener("dragleave", function () {
    if (--dragDepth <= 0) { dragDepth = 0; $("drop-zone").hidden = true; }
  });
  document.addEventListener("dragover", function (e) { e.preventDefault(); });
  document.addEventListener("drop", function (e) {
    e.preventDefault();
    dragDepth = 0;
    $("drop-zone").hidden = true;
    if (e.dataTransfer && e.dataTransfer.files.length) upload(e.dataTransfer.files);
  });

  list("/");
})();
