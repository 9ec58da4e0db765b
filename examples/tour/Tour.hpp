// The tour's stops, one function per area of the library.
#pragma once

#include <iostream>
#include <string_view>

namespace tour {

// Prints a stop's heading.
inline void heading(std::string_view title) { std::cout << "\n== " << title << "\n"; }

// A behaviour reader following a relay.
void reactiveValues();
// Work on a serial queue, and the main queue run by the host.
void queues();
// A timer driven by a virtual-time scheduler.
void virtualTime();
// The logging facade writing to the console and a log file, read back.
void logging();
// Fuzzy search over a catalogue, an error summary, versions compared.
void coreValues();
// A notification posted by one feature and read by another with typed accessors.
void notificationsBetweenFeatures();
// A URL's query parameters read as integers, doubles and Booleans.
void typedQueryValues();
// A stored setting of an older layout read back through a property.
void storedSettings();
// A playback flow driven by a state machine, drawn as DOT text.
void playbackFlow();
// A simulated video start-up marked on two lanes, its report and its trace file.
void timePoints();
// Deep links routed to two features, and a short link resolved against a local server.
void deepLinks();

}  // namespace tour
