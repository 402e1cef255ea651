#pragma once
// siud's own configuration: where to listen, its limits, and for each service
// of NorvaSensorBoard.ini the board items that stand for XFS4IoT fields.
// README.md beside this file documents the format; examples/siud.ini is the
// mapping for the example board.

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace siud {

// A board item: its group (0..6 the status arrays of SIU_GetSensorStatus, 7
// the indicators) and its row in that group.
struct Item {
    std::size_t group = 0;
    std::size_t index = 0;
    std::string name;  // as the configuration wrote it, without NORVA_SIU_
};
constexpr std::size_t kIndicatorGroup = 7;

// How an Auxiliaries status field is read from the board.
struct AuxField {
    std::string field;  // safeDoor, operatorSwitch, heatSensor, ...
    Item item;
    bool hasLock = false;  // doors: a lock item that turns "closed" into "locked"
    Item lock;
};

// One light at one position: an indicator output of the board.
struct LightOutput {
    std::string light;     // cardReader, statusGood, ...
    std::string position;  // left, right, ..., default
    std::string color;     // reported as the light's colour; may be empty
    Item indicator;
};

struct ServiceConfig {
    std::string name;  // the section of NorvaSensorBoard.ini, and the service's URI name
    unsigned pollMs = 250;
    std::vector<AuxField> auxiliaries;
    bool audibleAlarm = false;  // the board's buzzer is the audible alarm
    std::vector<LightOutput> lights;
};

struct Config {
    std::string address = "127.0.0.1";
    unsigned short port = 5846;
    std::string library;  // file or directory; empty: the dynamic linker's search
    std::string vendorName = "Norva";
    std::string tlsCertificate, tlsPrivateKey;
    std::size_t maxClients = 16;        // per service, and on the publisher
    std::size_t maxMessage = 64 * 1024;  // bytes of one received message
    std::size_t maxRequests = 8;        // commands of one client not yet completed
    std::vector<ServiceConfig> services;

    bool tls() const { return !tlsCertificate.empty(); }
};

// The XFS4IoT field names siud knows, and the kind of value each takes.
enum class FieldKind { Door, OperatorSwitch, OnOff, Presence };
bool auxFieldKind(const std::string& field, FieldKind& kind);
bool isLightName(const std::string& light);
bool isLightPosition(const std::string& position);

// Reads the file; false with a message naming the line on any error.
bool loadConfig(const std::string& path, Config& out, std::string& error);
// Parses configuration text (file is only used in messages).
bool parseConfig(const std::string& text, const std::string& file, Config& out,
                 std::string& error);

}  // namespace siud
