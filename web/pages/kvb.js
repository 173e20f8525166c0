// Shared by the pages: the WebSocket to kvbeacon-web with its reconnects, the connection's state,
// and the values in the driver's units.
"use strict";

const Kvb = (() => {
    // No live message for this long while "live" means the data on screen is old.
    const quietMs = 1500;

    // Keeps the phone's screen on while the data is live, and lets it sleep once the data has not
    // been live for a minute. The Screen Wake Lock where the browser offers it (a secure context:
    // localhost, not a LAN address over plain HTTP), else NoSleep.js's muted looping video, which
    // a browser may start only on a tap. A corner says which.
    function keepScreenOn(badge) {
        const sleep = new NoSleep();
        // Muted, so that a browser may start it without waiting for a tap.
        if (sleep.noSleepVideo) {
            sleep.noSleepVideo.muted = true;
            sleep.noSleepVideo.setAttribute("muted", "");
        }
        const keeper = { mode: "off", wanted: false, video: sleep.noSleepVideo || null, releaseAfterMs: 60000 };
        let lastLive = 0;
        const show = (mode, text) => {
            keeper.mode = mode;
            document.body.dataset.awake = mode;
            if (badge)
                badge.textContent = text;
        };
        const hold = () => {
            if (sleep.isEnabled || keeper.mode === "asking")
                return;
            const kind = "wakeLock" in navigator ? "wake lock" : "video";
            show("asking", "");
            sleep.enable().then(() => {
                if (keeper.wanted)
                    show(kind, "screen kept on");
                else
                    sleep.disable();
            }, () => show("tap", "tap to keep the screen on"));
        };
        document.addEventListener("pointerdown", () => { if (keeper.wanted) hold(); }, true);
        setInterval(() => {
            if (keeper.wanted && Date.now() - lastLive > keeper.releaseAfterMs) {
                keeper.wanted = false;
                sleep.disable();
                show("off", "");
            }
        }, 1000);
        keeper.live = () => {
            lastLive = Date.now();
            keeper.wanted = true;
            hold();
        };
        return keeper;
    }

    // Full screen at a tap, where the browser can; a page put on the home screen opens so anyway.
    function fullScreenButton() {
        const button = document.getElementById("fullscreen");
        if (!button)
            return;
        button.hidden = !document.fullscreenEnabled;
        button.addEventListener("click", () => {
            if (document.fullscreenElement)
                document.exitFullscreen();
            else
                document.documentElement.requestFullscreen().catch(() => {});
        });
    }

    // What the driver can do about the state: a line under the header, or atop a page without one.
    function hintLine() {
        const line = document.createElement("p");
        line.id = "hint";
        line.className = "state-hint";
        const header = document.querySelector("header");
        if (header)
            header.after(line);
        else
            document.body.prepend(line);
        return line;
    }

    // For the pages without the WebSocket: kvBeacon's state and what to do, asked every two seconds.
    function watchState() {
        const line = hintLine();
        const ask = () => fetch("/api/state", { cache: "no-store" }).then((reply) => reply.json())
            .then((state) => { line.textContent = state.hint ? state.text + ". " + state.hint : ""; }, () => {})
            .finally(() => setTimeout(ask, 2000));
        ask();
    }

    // Opens /ws and hands every message to handlers[message.type]; connects anew, with back-off,
    // whenever the socket closes. Returns a sender of requests.
    function connect(handlers) {
        let badge = null;
        if (!document.body.classList.contains("overlay")) {
            badge = document.createElement("div");
            badge.id = "awake";
            badge.className = "awake";
            document.body.append(badge);
        }
        const keeper = keepScreenOn(badge);
        Kvb.awake = keeper;
        fullScreenButton();
        let socket = null;
        let delay = 500;
        let lastLive = 0;
        let state = "connecting";
        let liveText = "";
        const line = hintLine();
        const showState = (name, text, hint) => {
            state = name;
            document.body.dataset.state = name;
            const banner = document.getElementById("state");
            if (banner)
                banner.textContent = text;
            // Where no banner says the state, the line says it before what to do.
            line.textContent = hint ? (banner ? hint : text + ". " + hint) : "";
            if (handlers.state)
                handlers.state({ state: name, text: text, hint: hint || "" });
        };
        const open = () => {
            socket = new WebSocket((location.protocol === "https:" ? "wss://" : "ws://") + location.host + "/ws");
            socket.onopen = () => { delay = 500; };
            socket.onmessage = (event) => {
                const message = JSON.parse(event.data);
                if (message.type === "state") {
                    // The quiet check counts from here, not from a live message of an earlier spell.
                    if (message.state === "live") {
                        liveText = message.text;
                        lastLive = Date.now();
                    }
                    showState(message.state, message.text, message.hint);
                } else if (message.type === "live") {
                    lastLive = Date.now();
                    keeper.live();
                    // Messages flowing again after a pause: live, though kvbeacon-web's state never left it.
                    if (state === "quiet")
                        showState("live", liveText);
                }
                if (message.type !== "state" && handlers[message.type])
                    handlers[message.type](message);
            };
            socket.onclose = () => {
                showState("no-web", "kvbeacon-web unreachable: retrying",
                          "Is kvbeacon-web still running on the PC? Its console window must stay open.");
                setTimeout(open, delay);
                delay = Math.min(delay * 2, 5000);
            };
        };
        setInterval(() => {
            if (state === "live" && Date.now() - lastLive > quietMs)
                showState("quiet", "No fresh data: waiting");
        }, 250);
        open();
        return (request) => {
            if (!socket || socket.readyState !== WebSocket.OPEN)
                return false;
            socket.send(JSON.stringify(request));
            return true;
        };
    }

    // The simulator's session flag bits, most telling first, with the colour each shows as.
    const flagBits = [
        [0x00010000, "black", "#000000"], [0x00020000, "disqualified", "#000000"],
        [0x00000010, "red", "#d7263d"], [0x00000001, "checkered", "checkered"],
        [0x00004000, "caution", "#ffd400"], [0x00008000, "caution waving", "#ffd400"],
        [0x00000008, "yellow", "#ffd400"], [0x00000100, "yellow waving", "#ffd400"],
        [0x00000040, "debris", "#ffd400"], [0x00100000, "repair", "#ff8c00"],
        [0x00000020, "blue", "#1e6bff"], [0x00000002, "white", "#ffffff"],
        [0x00000200, "one lap to green", "#2bb24c"], [0x00000004, "green", "#2bb24c"],
        [0x00000400, "green held", "#2bb24c"], [0x80000000, "start go", "#2bb24c"],
        [0x40000000, "start set", "#ffd400"], [0x20000000, "start ready", "#d7263d"],
        [0x00000800, "ten to go", "#9aa0a6"], [0x00001000, "five to go", "#9aa0a6"],
        [0x00000080, "crossed", "#9aa0a6"],
    ];
    function flags(bits) {
        const unsigned = bits >>> 0;
        return flagBits.filter(([bit]) => (unsigned & bit) >>> 0 !== 0)
            .map(([, name, colour]) => ({ name: name, colour: colour }));
    }

    const metric = (live) => live.DisplayUnits === 1;
    function temperature(celsius, live) {
        return metric(live) ? celsius.toFixed(1) + " °C" : (celsius * 9 / 5 + 32).toFixed(1) + " °F";
    }
    function fuel(litres, live) {
        return metric(live) ? litres.toFixed(1) + " L" : (litres / 3.785411784).toFixed(2) + " gal";
    }
    // The simulator gives fuel use as mass per hour; the tank's density turns it into volume.
    function fuelPerHour(kgPerHour, kgPerLitre, live) {
        if (!(kgPerLitre > 0))
            return kgPerHour.toFixed(1) + " kg/h";
        return fuel(kgPerHour / kgPerLitre, live) + "/h";
    }
    function speed(metresPerSecond, live) {
        return metric(live) ? (metresPerSecond * 3.6).toFixed(0) + " km/h"
                            : (metresPerSecond * 2.2369363).toFixed(0) + " mph";
    }
    function compass(radians) {
        const names = ["N", "NE", "E", "SE", "S", "SW", "W", "NW"];
        const degrees = ((radians * 180 / Math.PI) % 360 + 360) % 360;
        return names[Math.round(degrees / 45) % 8];
    }
    function clock(seconds) {
        if (!(seconds >= 0))
            return "–";
        const whole = Math.floor(seconds);
        const h = Math.floor(whole / 3600), m = Math.floor(whole / 60) % 60, s = whole % 60;
        const two = (n) => String(n).padStart(2, "0");
        return (h > 0 ? h + ":" + two(m) : String(m)) + ":" + two(s);
    }
    const skies = ["clear", "partly cloudy", "mostly cloudy", "overcast"];
    function weather(live) {
        const sky = skies[live.Skies] || "sky " + live.Skies;
        const parts = [sky, Math.round(live.RelativeHumidity * 100) + " % humidity"];
        if (live.FogLevel > 0)
            parts.push(Math.round(live.FogLevel * 100) + " % fog");
        return parts.join(", ");
    }
    // What the tank still needs before the flag, in a few words.
    function fuelStop(message, live) {
        if (message.fuelLastsToFinish === null || message.fuelLastsToFinish === undefined)
            return message.fuelPerLap === null ? "after a whole lap" : "race length unknown";
        if (message.fuelLastsToFinish)
            return "no stop needed";
        return "add " + fuel(message.fuelToAdd, live) + " at the stop";
    }
    // Unlimited laps are sent as 32767.
    const lapLimit = (laps) => (laps >= 32767 || laps < 0 ? null : laps);

    const field = (id, text) => {
        const element = document.getElementById(id);
        if (element)
            element.textContent = text;
    };

    return { connect, watchState, awake: null, flags, temperature, fuel, fuelStop, fuelPerHour, speed, compass, clock, weather, lapLimit, field };
})();
