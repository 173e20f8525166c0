#pragma once

#include <QByteArray>

#include <string>
#include <vector>

struct MqttSettings;

// The car announced to Home Assistant through its MQTT discovery: fuel, position, laps remaining
// and session as sensors of one device, read from the car's own topics and unavailable while
// its status says offline. A plain function of the settings.
namespace HomeAssistant {
struct Announcement
{
    QByteArray topic;
    std::string config; // retained, so that Home Assistant finds it whenever it starts
};
std::vector<Announcement> discovery(const MqttSettings &settings);
} // namespace HomeAssistant
