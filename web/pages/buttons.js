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

// "Label:KEY" entries, or bare key names and codes, separated by commas.
function keyRow() {
    const query = new URLSearchParams(location.search);
    const entries = [{ label: "Pit limiter", key: query.get("pitlimiter") || "A" }];
    for (const entry of (query.get("keys") || "").split(",")) {
        if (entry.trim() === "")
            continue;
        const colon = entry.lastIndexOf(":");
        entries.push(colon > 0 ? { label: entry.slice(0, colon), key: entry.slice(colon + 1) }
                               : { label: entry, key: entry });
    }
    const row = document.getElementById("keys");
    for (const { label, key } of entries) {
        const code = /^\d+$/.test(key.trim()) ? Number(key) : key.trim();
        const button = makeButton(label, "key " + key, () => ({ key: code }));
        button.className = "key";
        button.dataset.key = key;
        row.append(button);
    }
}

keyRow();
const send = Kvb.connect({ macros: showMacros, result: showResult,
                           error: (message) => { document.getElementById("macro-state").textContent = message.error; } });
