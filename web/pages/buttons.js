// The button box: one button per chat macro of the driver's app.ini, and a row of keys. Each
// press shows what became of it: sent, then kvBeacon's answer or the failure.
"use strict";

let nextId = 1;
const pending = new Map(); // request id -> button

function press(button, request) {
    const id = nextId++;
    request.id = id;
    if (!send(request)) {
        feedback(button, "failed", "not sent: no connection");
        return;
    }
    pending.set(id, button);
    feedback(button, "pending", "sent…");
    setTimeout(() => {
        if (pending.get(id) === button) {
            pending.delete(id);
            feedback(button, "failed", "no answer");
        }
    }, 5000);
}

function feedback(button, kind, text) {
    button.dataset.feedback = kind;
    button.querySelector(".feedback").textContent = text;
}

function makeButton(label, number, request) {
    const button = document.createElement("button");
    const title = document.createElement("span");
    title.className = "label";
    title.textContent = label;
    const small = document.createElement("span");
    small.className = "feedback";
    small.textContent = number;
    button.append(title, small);
    button.addEventListener("click", () => press(button, request()));
    return button;
}

function showMacros(message) {
    const grid = document.getElementById("macros");
    grid.replaceChildren();
    const note = document.getElementById("macro-state");
    if (message.macros === null) {
        note.textContent = message.error;
        return;
    }
    message.macros.forEach((text, index) => {
        if (text.trim() === "")
            return;
        const button = makeButton(text, "macro " + (index + 1), () => ({ macro: index + 1 }));
        button.className = "macro";
        button.dataset.macro = index + 1;
        grid.append(button);
    });
    note.textContent = grid.children.length ? "" : "The driver's app.ini holds no chat macros";
}

function showResult(message) {
    const button = pending.get(message.id);
    if (!button)
        return;
    pending.delete(message.id);
    if (message.ok)
        feedback(button, "answered", "sent · kvBeacon: " + message.reply);
    else
        feedback(button, "failed", "failed: " + message.error);
}

// The row of keys: those a link names (?keys=Label:KEY,… and ?pitlimiter=KEY), else the box kept
// by kvbeacon-web, which the edit mode below sets up; the pit limiter on A before anything is set.
const query = new URLSearchParams(location.search);
const fromLink = query.has("keys") || query.has("pitlimiter");
let box = { keys: [], names: [] };
let editing = null; // the keys as being edited, or null

function linkKeys() {
    const entries = [{ label: "Pit limiter", key: query.get("pitlimiter") || "A" }];
    for (const entry of (query.get("keys") || "").split(",")) {
        if (entry.trim() === "")
            continue;
        const colon = entry.lastIndexOf(":");
        entries.push(colon > 0 ? { label: entry.slice(0, colon), key: entry.slice(colon + 1) }
                               : { label: entry, key: entry });
    }
    return entries;
}

function shownKeys() {
    if (fromLink)
        return linkKeys();
    return box.keys.length ? box.keys : [{ label: "Pit limiter", key: "A" }];
}

function keyRow() {
    const row = document.getElementById("keys");
    row.replaceChildren();
    for (const { label, key } of shownKeys()) {
        const code = /^\d+$/.test(key.trim()) ? Number(key) : key.trim();
        const button = makeButton(label, "key " + key, () => ({ key: code }));
        button.className = "key";
        button.dataset.key = key;
        row.append(button);
    }
}

// The box as kvbeacon-web keeps it, asked for again every few seconds, so that a change made on
// the tablet shows on the phone.
async function loadBox() {
    try {
        const reply = await fetch("/api/buttons", { cache: "no-store" });
        const next = await reply.json();
        const changed = JSON.stringify(next.keys) !== JSON.stringify(box.keys);
        box = next;
        if (changed && !editing)
            keyRow();
    } catch (error) {
        // kvbeacon-web away: the row stays as it was; the banner says why.
    }
}

function showEditor() {
    const list = document.getElementById("key-list");
    list.replaceChildren(...editing.map((entry, index) => {
        const item = document.createElement("li");
        item.dataset.key = entry.key;
        const text = document.createElement("span");
        text.className = "entry";
        text.textContent = entry.label + " · " + entry.key;
        const tool = (label, title, act) => {
            const button = document.createElement("button");
            button.type = "button";
            button.className = "chip " + title;
            button.textContent = label;
            button.setAttribute("aria-label", title);
            button.addEventListener("click", () => { act(); showEditor(); });
            return button;
        };
        const swap = (other) => { [editing[index], editing[other]] = [editing[other], editing[index]]; };
        item.append(text,
                    tool("↑", "up", () => { if (index > 0) swap(index - 1); }),
                    tool("↓", "down", () => { if (index + 1 < editing.length) swap(index + 1); }),
                    tool("✕", "remove", () => editing.splice(index, 1)));
        return item;
    }));
}

function edit(on) {
    editing = on ? shownKeys().map((entry) => ({ label: entry.label, key: String(entry.key).toUpperCase() })) : null;
    document.getElementById("key-editor").hidden = !on;
    document.getElementById("keys").hidden = on;
    document.getElementById("edit-keys").hidden = on;
    document.getElementById("editor-note").textContent = "";
    if (on) {
        const select = document.getElementById("new-key");
        select.replaceChildren(...box.names.map((name) => new Option(name, name)));
        showEditor();
    } else {
        keyRow();
    }
}

document.getElementById("edit-keys").addEventListener("click", () => edit(true));
document.getElementById("cancel-keys").addEventListener("click", () => edit(false));
document.getElementById("add-key").addEventListener("click", () => {
    const key = document.getElementById("new-key").value;
    const label = document.getElementById("new-label").value.trim();
    editing.push({ label: label || key, key: key });
    document.getElementById("new-label").value = "";
    showEditor();
});
document.getElementById("save-keys").addEventListener("click", async () => {
    const note = document.getElementById("editor-note");
    try {
        const reply = await fetch("/api/buttons", {
            method: "PUT", headers: { "Content-Type": "application/json" }, body: JSON.stringify({ keys: editing }),
        });
        const answer = await reply.json();
        if (!reply.ok) {
            note.textContent = answer.error;
            return;
        }
        box = answer;
        // Saved, the box is the kept one: a link's keys give way to it.
        if (fromLink)
            location.replace("/buttons");
        else
            edit(false);
    } catch (error) {
        note.textContent = "Not saved: kvbeacon-web unreachable";
    }
});

keyRow();
loadBox(); // a link's page needs the key names for the editor all the same
if (!fromLink)
    setInterval(() => { if (!editing) loadBox(); }, 5000);
const send = Kvb.connect({ macros: showMacros, result: showResult,
                           error: (message) => { document.getElementById("macro-state").textContent = message.error; } });
