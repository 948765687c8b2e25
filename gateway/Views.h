#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Dictionary.h"

// The machine in terms of what it is made of. A value that the machine does not have, or not now, is none.

namespace Gateway {

using Number = std::optional<double>;
using Text = std::optional<std::string>;
using Flag = std::optional<bool>;

struct Adapter {
    std::uint16_t index = 0; ///< of the settings, whose entries can be written
    std::string name;
    Text mac, address, mask, gateway, dns, activeDns;
    Flag dhcp;
};

struct Drive {
    Text serial, model;
    Number kind; ///< 0 other, 1 hard disk, else flash
    Number lifeLeftPercent, spareLeftPercent;
    Number reallocatedSectors, spinRetries, pendingSectors, crcErrors;
};

struct Disc {
    Text path, name, fileSystem;
    bool isPool = false;
    Number sizeBytes, freeBytes;
};

struct Temperature {
    std::string name;
    Number celsius, lowestCelsius, highestCelsius;
};

struct Voltage {
    std::string name;
    Number volts, nominalVolts;
};

struct Fan {
    std::string name;
    Number rpm;
};

struct Sensors {
    std::vector<Temperature> temperatures;
    std::vector<Voltage> voltages;
    std::vector<Fan> fans;
};

struct Processor {
    std::string name;
    Number frequencyMegahertz, loadPercent, celsius;
};

struct Memory {
    Number totalBytes, availableBytes;
};

struct OperatingSystem {
    Text name, version;
    Number uptimeSeconds;
};

struct Mainboard {
    Text name, serialNumber, biosVersion, productionDate;
    Number revision, bootCount, operatingTimeCounter;
};

struct Clock {
    std::optional<std::uint16_t> index; ///< of the settings
    Number utcSeconds, zoneNumber, ntpRefreshSeconds;
    Text local, zone, ntpServer;
    std::vector<std::uint16_t> zoneLists;
};

struct Pin {
    std::uint16_t index = 0;
    std::uint8_t sub = 0;
    int pin = 0;
    Flag isInput;
    Number value;
};

struct Supply {
    std::uint16_t index = 0;
    std::uint8_t sub = 0;
    std::string name;
    Flag isOn;
};

struct User {
    std::string name;
    std::vector<std::string> groups;
};

struct Package {
    Text name, manufacturer, version;
};

struct Ups {
    std::string name;
    Text model, manufacturer, revision;
    Number powerStatus; ///< 1 mains, 2 battery, 0 anything else
    Number chargePercent, runtimeSeconds, powerFailures;
    Flag batteryError, fanError;
};

struct Figure {
    std::string name;
    std::uint8_t sub = 0;
    Number value;
};

struct Runtime {
    std::uint16_t index = 0; ///< of the information, whose net id can be written
    Text version, netId, systemId;
    Number revision, state, secondsSinceChange;
    std::vector<Figure> figures; ///< of the router

    static constexpr int Runs = 5;
};

struct Route {
    Text name, address, netId;
    Number transport, timeoutMilliseconds, flags;
};

struct Identity {
    Text name, serialNumber, hardwareVersion, softwareVersion;
};

/// One look at the machine: every object is read once at most. Belongs to one thread.
class Look {
public:
    using Milliseconds = std::chrono::milliseconds;

    Look(Dictionary& dictionary, Milliseconds maxAge, Language language = Language::English)
        : m_dictionary(dictionary), m_maxAge(maxAge), m_language(language) {}

    /// Why the service did not answer, once it has not. From then on nothing has a value.
    const std::optional<Mdp::Error>& Failure() const { return m_failure; }

    std::vector<Mdp::Module> Modules();

    Gateway::Identity ReadIdentity();
    std::vector<Adapter> ReadAdapters();
    std::vector<Drive> ReadDrives();
    std::vector<Disc> ReadDiscs();
    std::vector<Processor> ReadProcessors();
    std::vector<Temperature> ReadBoardTemperatures();
    std::vector<Voltage> ReadVoltages();
    std::vector<Fan> ReadFans();
    Gateway::Sensors ReadSensors();
    Gateway::Memory ReadMemory();
    Gateway::OperatingSystem ReadOperatingSystem();
    std::optional<Gateway::Mainboard> ReadMainboard();
    Gateway::Clock ReadClock();
    std::vector<Pin> ReadPins();
    std::vector<Supply> ReadSupplies();
    std::vector<User> ReadUsers();
    std::vector<std::string> ReadGroups();
    std::vector<Package> ReadPackages();
    std::vector<Gateway::Ups> ReadUps();
    std::optional<Gateway::Runtime> ReadRuntime();
    std::vector<Route> ReadRoutes();

private:
    Dictionary::Values Object(std::uint16_t index);
    std::vector<Mdp::Module> ModulesOf(ModuleType type);
    Gateway::Number Number(std::uint16_t index, std::size_t sub);
    Gateway::Text Text(std::uint16_t index, std::size_t sub);
    Gateway::Flag Flag(std::uint16_t index, std::size_t sub);
    /// Number of entries behind entry 0.
    std::size_t Count(std::uint16_t index);
    /// Rows of a table, whose columns are data objects of the module; none of a table that is being made anew all the
    /// time.
    std::size_t Rows(const Mdp::Module& module, std::initializer_list<unsigned> columns);
    std::vector<std::string> Texts(std::uint16_t index);

    Dictionary& m_dictionary;
    Milliseconds m_maxAge;
    Language m_language;
    std::optional<Mdp::Error> m_failure;
    std::shared_ptr<const Dictionary::Modules> m_modules;
    std::map<std::uint16_t, Dictionary::Values> m_objects;
};

} // namespace Gateway
