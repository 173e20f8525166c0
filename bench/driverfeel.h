#pragma once

#include <string>

// What a driver feels of kvBeacon, measured on the whole program beside the simulator stand-in
// under an X server: how long a press takes to reach the simulator's window, how old the
// documents' values are when a client gets them, how long the program takes to start, and what
// it costs the machine while a race runs. Each prints a Markdown section.
namespace driverfeel {

struct Programs
{
    std::string kvbeacon, simulator, documents;
    std::string bareWindow; // the footprint's floor: a bare Qt Widgets window
    std::string companion;  // kvbeacon-web, which runs beside kvBeacon on the same machine
};

// Press to simulator (idle and under 64 clients asking for the live document) and the documents'
// freshness.
void pressesAndFreshness(const Programs &programs, bool quick);
// From process start to the server listening and to the window shown, cold and warm.
void startUp(const Programs &programs, bool quick);
// CPU and resident memory beside the stand-in with 4 clients reading both documents at 10 Hz;
// then kvbeacon-web's, reading kvBeacon, and sharing the car through a Mosquitto on loopback.
void footprint(const Programs &programs, int seconds);

} // namespace driverfeel
