#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "mdp/Client.h"

namespace Gateway {

enum class Language { English, German };

/// Types of modules.
enum ModuleType : std::uint16_t {
    TypeNic = 2,
    TypeTime = 3,
    TypeUsers = 4,
    TypeRuntime = 8,
    TypeSoftware = 10,
    TypeProcessor = 11,
    TypeMemory = 12,
    TypeFiles = 16,
    TypeOperatingSystem = 24,
    TypeFan = 27,
    TypeMainboard = 28,
    TypeDiskManagement = 29,
    TypeUps = 30,
    TypeMassStorage = 32,
    TypeIo = 34,
};

/// "Nic", "CPU" and so on, as the modules call it themselves; "module" and the number for a type that is not known.
std::string ModuleTypeName(std::uint16_t type);

struct EntryShape {
    std::uint16_t type = 0;
    bool readable = false;
    bool writable = false;
    std::string name;
};

/// What an object is, without its values. Entry k has sub-index k.
struct ObjectShape {
    std::uint16_t index = 0;
    std::uint8_t objectCode = 0;
    std::string name;
    std::vector<EntryShape> entries;
};

struct EntryValue {
    Mdp::Code code = Mdp::OBJ_E_NOERR; ///< why there is no value
    std::optional<Mdp::Bytes> value;   ///< neither this nor a code for an entry that is only written

    bool operator==(const EntryValue&) const = default;
};

/// An object at one moment.
struct ObjectValues {
    std::shared_ptr<const ObjectShape> shape;
    std::vector<EntryValue> entries; ///< as many as in the shape
};

/// The service's dictionary. What does not change while the service runs is asked once; values are shared by all who
/// want them at nearly the same time. For use by several threads: those that want the same object wait for one read.
class Dictionary {
public:
    using Milliseconds = std::chrono::milliseconds;
    using Modules = std::vector<Mdp::Module>;
    using Shape = std::shared_ptr<const ObjectShape>;
    using Values = std::shared_ptr<const ObjectValues>;

    explicit Dictionary(Mdp::ClientOptions options);

    /// The modules of the lists, without their headers, which would wake them.
    Mdp::Result<std::shared_ptr<const Modules>> ListModules(Milliseconds maxAge);

    /// All indexes, ascending. Wakes every module.
    Mdp::Result<std::vector<std::uint16_t>> ListObjects();

    /// Without its entries, and kept.
    Mdp::Result<Mdp::ObjectDescription> DescribeHead(std::uint16_t index, Language language);

    Mdp::Result<Shape> Describe(std::uint16_t index, Language language);

    /// Values not older than that. An entry without a value has its code; the object fails as a whole where it does not
    /// exist or the service does not answer.
    Mdp::Result<Values> Read(std::uint16_t index, Milliseconds maxAge);

    /// Writes, and forgets what was read of the module.
    Mdp::Result<void> Write(std::uint16_t index, std::uint8_t subIndex, Mdp::ByteView data);

    /// Whether the service answers, by one short read.
    Mdp::Result<void> Probe() const;

    /// Forgets everything: the service may be another one.
    void Forget();

    /// For services. A job may change anything: Forget what was read afterwards.
    const Mdp::Client& Client() const { return m_client; }

private:
    using Clock = std::chrono::steady_clock;

    // One object. The mutex is held while it is read.
    struct Slot {
        std::mutex mutex;
        Values values;
        std::optional<Mdp::Error> failure;
        Mdp::Bytes complete; // of the last complete read
        Clock::time_point readAt;
        std::array<Shape, 2> shapes; // by language
        std::array<std::optional<Mdp::ObjectDescription>, 2> heads;
    };

    std::shared_ptr<Slot> SlotOf(std::uint16_t index);
    Mdp::Result<Shape> DescribeIn(Slot& slot, std::uint16_t index, Language language) const;
    static void ForgetShape(Slot& slot);
    Mdp::Result<Values> ReadIn(Slot& slot, std::uint16_t index) const;

    const Mdp::Client m_client;
    std::mutex m_mutex; // of what follows; never held while the service is asked
    std::map<std::uint16_t, std::shared_ptr<Slot>> m_slots;

    std::mutex m_modulesMutex; // held while the lists are read
    std::shared_ptr<const Modules> m_modules;
    Clock::time_point m_modulesReadAt;
};

/// True where the service told it; otherwise it does not answer.
bool IsTold(const Mdp::Error& error);

} // namespace Gateway
