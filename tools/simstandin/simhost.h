#pragma once

#include <cstddef>
#include <string>

// The simulator's side of the memory object and the event: creates them, signals the
// event, removes them. One backend file per system.
namespace SimHost {

// Creates the memory object of `*size` bytes and maps it writable. One that exists already,
// as Windows hands back an object another program still holds, is taken over whole at the size
// it has, never resized: `*size` receives that size.
unsigned char *createRegion(std::size_t *size);
bool createEvent();
// Wakes every reader waiting for a row.
void signalEvent();
// Unmaps both objects and removes them, unless a reader still maps them (false then);
// safe to call twice.
bool removeObjects();

// The folder of the running program, with a trailing separator; empty when unknown.
std::string programFolder();

} // namespace SimHost
