// The dashboard: every value of the live and info documents a driver looks at, in the units the
// driver chose in the simulator.
"use strict";

let info = null;

function showLive(message) {
    const live = message.live;
    const f = Kvb.field;
    f("position", live.PlayerCarPosition > 0 ? "P" + live.PlayerCarPosition : "–");
    f("class-position", live.PlayerCarClassPosition > 0 ? "P" + live.PlayerCarClassPosition : "–");
    const limit = info ? Kvb.lapLimit(info["SI.SessionLaps"]) : null;
    f("laps", live.RaceLaps + (limit !== null ? " / " + limit : ""));
    f("laps-remaining", Kvb.lapLimit(live.SessionLapsRemain) !== null ? String(live.SessionLapsRemain) : "–");
    f("time", Kvb.clock(live.SessionTimeSinceStarted));
    f("fuel", Kvb.fuel(live.FuelLevel, live));
    f("fuel-pct", Math.round(live.FuelLevelPct * 100) + " %");
    f("fuel-per-hour", Kvb.fuelPerHour(live.FuelUsePerHour, info ? info["DI.DriverCarFuelKgPerLtr"] : 0, live));
    f("fuel-laps", message.fuelLapsLeft !== null ? message.fuelLapsLeft.toFixed(1) : "–");
    f("fuel-per-lap", message.fuelPerLap !== null ? Kvb.fuel(message.fuelPerLap, live) : "–");
    f("fuel-finish", message.fuelToFinish !== null ? Kvb.fuel(message.fuelToFinish, live) : "–");
    f("fuel-stop", Kvb.fuelStop(message, live));
    document.getElementById("finish-tile").dataset.stop =
        message.fuelLastsToFinish === null ? "unknown" : message.fuelLastsToFinish ? "none" : "needed";
    drawFuelLaps(document.getElementById("fuel-chart"), message.fuelLaps || [], message.fuelPerLap, live);
    const flags = Kvb.flags(live.SessionFlags);
    f("flags", flags.length ? flags.map((flag) => flag.name).join(", ") : "none");
    const swatch = document.getElementById("flag-swatch");
    swatch.className = "flag-swatch" + (flags.length && flags[0].colour === "checkered" ? " checkered" : "");
    swatch.style.background = flags.length && flags[0].colour !== "checkered" ? flags[0].colour : "";
    f("track-temp", Kvb.temperature(live.TrackTempCrew, live));
    f("air-temp", Kvb.temperature(live.AirTemp, live));
    f("wind", Kvb.speed(live.WindVel, live));
    f("wind-dir", Kvb.compass(live.WindDir));
    // The arrow points where the wind blows to.
    document.getElementById("wind-arrow").style.transform = "rotate(" + (live.WindDir * 180 / Math.PI + 180) + "deg)";
    f("weather", Kvb.weather(live));
}

// The fuel of each of the last laps as bars, the average as a line, the last lap's figure on top.
function drawFuelLaps(canvas, laps, average, live) {
    const ratio = window.devicePixelRatio || 1;
    const width = Math.round(canvas.clientWidth * ratio), height = Math.round(canvas.clientHeight * ratio);
    if (canvas.width !== width || canvas.height !== height) {
        canvas.width = width;
        canvas.height = height;
    }
    const context = canvas.getContext("2d");
    context.clearRect(0, 0, width, height);
    if (laps.length === 0 || width === 0 || height === 0)
        return;
    const top = Math.max(...laps) * 1.1, bottom = Math.min(...laps) * 0.8;
    const y = (value) => height - ((value - bottom) / (top - bottom || 1)) * height;
    const slot = width / Math.max(laps.length, 5);
    context.fillStyle = "#2bb24c";
    laps.forEach((used, index) => context.fillRect(index * slot + slot * 0.15, y(used), slot * 0.7, height - y(used)));
    if (average !== null) {
        context.strokeStyle = "#f2f2f2";
        context.setLineDash([6 * ratio, 4 * ratio]);
        context.lineWidth = 2 * ratio;
        context.beginPath();
        context.moveTo(0, y(average));
        context.lineTo(width, y(average));
        context.stroke();
    }
}

function showInfo(message) {
    info = message.info;
    Kvb.field("session-type", info["SI.SessionType"]);
    Kvb.field("track", info["WI.Trackname"]);
    const limit = info["SI.SessionTime"];
    Kvb.field("time-limit", limit > 0 ? Kvb.clock(limit) : "unlimited");
}

Kvb.connect({ live: showLive, info: showInfo });
