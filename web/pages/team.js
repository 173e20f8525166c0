// The team: every car under the watched prefix as kvbeacon-web last heard of it through the
// broker. The ages come from kvbeacon-web's clock, so the cars' clocks do not matter.
"use strict";

function cells(car) {
    const live = car.live;
    const laps = (value) => (Kvb.lapLimit(value) !== null ? String(value) : "–");
    const state = car.state === "live" ? "live" : car.state === "offline" ? "offline" : "stale";
    const row = [car.car, state, car.age !== null ? car.age.toFixed(1) + " s" : "–"];
    if (!live)
        return row.concat(["–", "–", "–", "–", "–", "–", car.info ? car.info["SI.SessionType"] : "–"]);
    return row.concat([
        live.PlayerCarPosition > 0 ? "P" + live.PlayerCarPosition : "–",
        live.PlayerCarClassPosition > 0 ? "P" + live.PlayerCarClassPosition : "–",
        String(live.RaceLaps),
        laps(live.SessionLapsRemain),
        Kvb.fuel(live.FuelLevel, live) + " · " + Math.round(live.FuelLevelPct * 100) + " %",
        car.fuelLapsLeft !== null ? car.fuelLapsLeft.toFixed(1) + " laps" : "–",
        car.info ? car.info["SI.SessionType"] + " · " + car.info["WI.Trackname"] : "–",
    ]);
}

const labels = [...document.querySelectorAll("#cars thead th")].map((th) => th.textContent);

function show(team) {
    document.body.dataset.broker = team.broker;
    Kvb.field("broker", team.text);
    Kvb.field("watch", team.watch || "–");
    const body = document.querySelector("#cars tbody");
    const cars = team.cars || [];
    body.replaceChildren(...cars.map((car) => {
        const row = document.createElement("tr");
        row.dataset.car = car.car;
        row.dataset.state = car.state;
        // Anyone may publish under a league's prefix: a car whose values make no sense is
        // shown as such, and the others as usual.
        let texts;
        try {
            texts = cells(car);
        } catch (error) {
            texts = [String(car.car), "unreadable"];
        }
        texts.forEach((text, index) => {
            const cell = document.createElement("td");
            cell.textContent = text;
            // A phone shows each car as a card, each value under its column's name.
            cell.dataset.label = labels[index] || "";
            row.appendChild(cell);
        });
        return row;
    }));
    document.getElementById("empty").hidden = cars.length > 0;
}

async function refresh() {
    try {
        const reply = await fetch("/api/team", { cache: "no-store" });
        show(await reply.json());
    } catch (error) {
        show({ broker: "no-web", text: "kvbeacon-web unreachable: retrying", cars: [] });
    }
    setTimeout(refresh, 500);
}

Kvb.watchState();
refresh();
