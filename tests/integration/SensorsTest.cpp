// The modules of the board's sensors, on simulated boards.
#include <chrono>
#include <cstdlib>

#include "SimulatedBoard.h"

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t CPU = 11;
constexpr std::uint32_t FAN = 27;
constexpr std::uint32_t MAINBOARD = 28;
constexpr std::uint32_t UPS = 30;
constexpr std::uint32_t IO = 34;

constexpr std::uint32_t NO_DATA = 0xECA60105;

const std::string s_temperatures = R"(
[sensor 1]
kind = temperature
location = processor
description = CPU dig.
reading = 61
[sensor 2]
kind = temperature
location = mainboard
description = Board
reading = 38
)";

const std::string s_voltage = R"(
[sensor 3]
kind = voltage
location = mainboard
description = 12V
reading = 1204
reference = 1200
)";

const std::string s_fan = R"(
[sensor 4]
kind = fan
location = processor
description = CPU fan
reading = 2300
[sensor 5]
kind = fan
location = mainboard
description = Case fan
reading = 1200
)";

const std::string s_board = R"(
[board]
name = CB3065
revision = 2
bios_major = 0x12
bios_minor = 0x05
[power]
operation_time = 8214
boot_counter = 131
min_temperature = -4
max_temperature = 71
min_voltage = 117
max_voltage = 123
serial = 0815-4711-2021
production_week = 34
production_year = 21
[gpio]
in = 0x05
out = 0x10
mask = 0x0F
)";

const std::string s_ups = R"(
[ups]
state = 0xC7
revision = 1.4.27
power_fails = 3
test_result = 120
gpio = 0x1234 5 6
)";

const std::string s_supplies = R"(
[ethercatp]
us1 = 1
us2 = 0
up1 = 1
up2 = 0
)";

const std::string s_whole = "[hwapi]\n" + s_temperatures + s_voltage + s_fan + s_board + s_ups + s_supplies;

std::string Replaced(std::string text, const std::string& what, const std::string& with) {
    const auto position = text.find(what);
    EXPECT_NE(position, std::string::npos) << what;
    return text.replace(position, what.size(), with);
}

// What a command of the client prints.
std::string RunClient(const std::string& arguments) {
    std::string output;
    FILE* pipe = popen((SYLVARIN_MDP " " + arguments + " 2>&1").c_str(), "r");
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
        output += static_cast<char>(c);
    }
    pclose(pipe);
    return output;
}

// A board that has everything.
class WholeBoard : public SimulatedBoard {
protected:
    void SetUp() override {
        SetScenario(s_whole);
        SimulatedBoard::SetUp();
    }
};

// A service without a simulated device.
class NoBoard : public SimulatedBoard {
protected:
    void SetUp() override {
        std::filesystem::remove(SCENARIO);
        SimulatedBoard::SetUp();
    }
};

// A board that is there, of which the test says what it has.
class SomeBoard : public SimulatedBoard {
protected:
    void SetUp() override {}

    void StartWith(const std::string& scenario) {
        SetScenario(scenario);
        SimulatedBoard::SetUp();
    }
};

// Chips of the kernel, without the driver.
class KernelSensors : public SimulatedBoard {
protected:
    void SetUp() override {
        std::filesystem::remove(SCENARIO);
        ASSERT_EQ(std::system("mount -t tmpfs test /sys/class/hwmon"), 0);
        Add("hwmon2/name", "nct6775");
        Add("hwmon2/in0_input", "1084");
        Add("hwmon2/in0_label", "Vcore");
        Add("hwmon2/in1_input", "12046");
        Add("hwmon2/fan1_input", "1180");
        Add("hwmon2/temp2_input", "38500");
        Add("hwmon2/temp2_label", "SYSTIN");
        Add("hwmon10/name", "coretemp");
        Add("hwmon10/temp1_input", "61400");
        Add("hwmon10/temp1_label", "Package id 0");
        Add("hwmon10/temp2_input", "-600");
        Add("hwmon10/temp2_label", "Core 0");
        SimulatedBoard::SetUp();
    }

    static void Add(const std::string& file, const std::string& text) {
        const std::filesystem::path path = "/sys/class/hwmon/" + file;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text << "\n";
    }
};

} // namespace

TEST_F(WholeBoard, HasItsModulesInTheFixedOrder) {
    EXPECT_EQ(OpenDevices(), 0U) << "nobody has asked yet";
    std::vector<std::uint32_t> types;
    const auto modules = m_client.ListModules();
    ASSERT_TRUE(modules);
    for (const Mdp::Module& module : *modules) {
        for (const std::uint32_t type : {CPU, FAN, MAINBOARD, UPS, IO}) {
            if (module.type == type) {
                types.push_back(type);
            }
        }
    }
    EXPECT_EQ(types, (std::vector<std::uint32_t>{CPU, UPS, FAN, FAN, MAINBOARD, IO}));
    for (const char* line : {"None: CPU created.", "None: UPS created.", "None: Fan created.",
                             "None: Mainboard created.", "None: IO created."}) {
        EXPECT_EQ(m_log.Count(line), 1U) << line;
    }
}

TEST_F(WholeBoard, EveryModuleTellsItsValues) {
    const unsigned int cpu = HeaderOf(CPU);
    EXPECT_EQ(Read(cpu + 1, 2), Value("01 00"));
    EXPECT_EQ(Read(cpu + 1, 3), Value("3D 00"));
    const unsigned int fan = HeaderOf(FAN);
    EXPECT_EQ(Read(fan, 3), Text("CPU fan"));
    EXPECT_EQ(Read(fan + 1, 1), Value("FC 08"));
    const unsigned int second = HeaderOf(FAN, 1);
    EXPECT_EQ(second, fan + 0x10);
    EXPECT_EQ(Read(second + 1, 1), Value("B0 04"));
    const unsigned int board = HeaderOf(MAINBOARD);
    EXPECT_EQ(Read(board + 1, 1), Text("CB3065"));
    EXPECT_EQ(Read(board + 1, 2), Text("0815-4711-2021"));
    EXPECT_EQ(Read(board + 1, 3), Text("2021-00-00-34"));
    EXPECT_EQ(Read(board + 1, 10), Value("26 00"));
    EXPECT_EQ(Read(board + 2, 2), Value("0C"));
    EXPECT_EQ(Read(board + 2, 4), Text("12.5"));
    EXPECT_EQ(Read(board + 3, 1), Text("12V"));
    EXPECT_EQ(Read(board + 5, 1), Value("08 2F"));
    EXPECT_EQ(Read(board + 7, 1), Value("01"));
    const unsigned int ups = HeaderOf(UPS);
    EXPECT_EQ(Read(ups + 1, 7), Value("01"));
    EXPECT_EQ(Read(ups + 1, 10), Value("46"));
    EXPECT_EQ(Read(ups + 1, 11), Value("54 00 00 00"));
    EXPECT_EQ(Read(ups + 1, 16), None(0xECA60101));
    EXPECT_EQ(Read(ups + 1, 6), None(0xECA61000));
    EXPECT_EQ(Read(ups + 2, 1), Value("34 12"));
    const unsigned int io = HeaderOf(IO);
    EXPECT_EQ(Read(io + 1, 1), Value("01"));
    EXPECT_EQ(Read(io + 1, 2), Value("00"));
}

TEST_F(WholeBoard, ValuesMoveWithTheBoard) {
    const unsigned int cpu = HeaderOf(CPU) + 1;
    const unsigned int fan = HeaderOf(FAN) + 1;
    const unsigned int board = HeaderOf(MAINBOARD);
    const unsigned int ups = HeaderOf(UPS) + 1;
    EXPECT_EQ(Read(fan, 1), Value("FC 08"));
    EXPECT_EQ(Read(board + 5, 1), Value("08 2F"));
    EXPECT_EQ(Read(ups, 10), Value("46"));
    EXPECT_EQ(Read(cpu, 3), Value("3D 00"));
    std::string changed = Replaced(s_whole, "reading = 2300", "reading = 2400");
    changed = Replaced(changed, "reading = 1204", "reading = 1190");
    changed = Replaced(changed, "reading = 61", "reading = 72");
    changed = Replaced(changed, "state = 0xC7", "state = 0xD2");
    changed = Replaced(changed, "in = 0x05", "in = 0x02");
    SetScenario(changed);
    EXPECT_EQ(ReadUntil(fan, 1, Value("60 09")), Value("60 09"));
    EXPECT_EQ(ReadUntil(board + 5, 1, Value("7C 2E")), Value("7C 2E"));
    EXPECT_EQ(ReadUntil(board + 7, 2, Value("01")), Value("01"));
    EXPECT_EQ(ReadUntil(cpu, 3, Value("48 00")), Value("48 00"));
    EXPECT_EQ(ReadUntil(ups, 7, Value("02")), Value("02"));
    EXPECT_EQ(ReadUntil(ups, 10, Value("14")), Value("14"));
}

TEST_F(WholeBoard, LostSensorHasNoDataAndComesBack) {
    const unsigned int cpu = HeaderOf(CPU) + 1;
    const unsigned int fan = HeaderOf(FAN) + 1;
    EXPECT_EQ(Read(fan, 1), Value("FC 08"));
    EXPECT_EQ(Read(cpu, 3), Value("3D 00"));
    SetScenario(s_whole + "[failures]\n0x2000:0x04 = 5\n0x2000:0x01 = 5\n");
    EXPECT_EQ(ReadUntil(fan, 1, None(NO_DATA)), None(NO_DATA));
    EXPECT_EQ(ReadUntil(cpu, 3, None(NO_DATA)), None(NO_DATA));
    EXPECT_EQ(Read(cpu, 0, true).value.size(), 8U) << "count, frequency and load come before the code";
    EXPECT_TRUE(m_log.WaitFor("Error: FVtSysGetSensorInfo failed!"));
    SetScenario(s_whole);
    EXPECT_EQ(ReadUntil(fan, 1, Value("FC 08")), Value("FC 08"));
    EXPECT_EQ(ReadUntil(cpu, 3, Value("3D 00")), Value("3D 00"));
}

TEST_F(WholeBoard, WrittenPinsReachTheBoard) {
    const unsigned int board = HeaderOf(MAINBOARD);
    EXPECT_EQ(Read(board + 7, 8), Value("00"));
    ForgetRequests();
    EXPECT_EQ(Write(board + 7, 8, "01"_hex), Little(0, 4));
    EXPECT_EQ(CountRequests("0x3000:0x07 90"), 1U);
    EXPECT_EQ(ReadUntil(board + 7, 8, Value("01")), Value("01"));
    // Two ticks later the pin still reads what it drives.
    std::this_thread::sleep_for(4500ms);
    EXPECT_EQ(Read(board + 7, 8), Value("01"));
    EXPECT_EQ(Write(board + 7, 8, "02"_hex), Little(0xECA60106, 4));
    EXPECT_EQ(Write(board + 7, 1, "01"_hex), Little(0xECA60101, 4));
    EXPECT_EQ(CountRequests("0x3000:0x07 90"), 1U);
}

TEST_F(WholeBoard, SuppliesOfEtherCatPAreSwitched) {
    const unsigned int io = HeaderOf(IO) + 1;
    ForgetRequests();
    EXPECT_EQ(Write(io, 2, "05"_hex), Little(0, 4));
    EXPECT_EQ(Read(io, 2), Value("01"));
    EXPECT_EQ(Write(io, 3, "00"_hex), Little(0, 4));
    EXPECT_EQ(Read(io, 3), Value("00"));
    EXPECT_EQ(Requests(),
              (std::vector<std::string>{"0x4000:0x22 02 81", "0x4000:0x21 82", "0x4000:0x22 01 00", "0x4000:0x21 01"}));
    ForgetRequests();
    EXPECT_EQ(Write(io, 1, {}), Little(0xECA60107, 4));
    EXPECT_EQ(Requests(), std::vector<std::string>());
}

TEST_F(WholeBoard, ErrorsOfTheDriverReachTheClientWhateverIsLogged) {
    const unsigned int io = HeaderOf(IO) + 1;
    SetScenario(s_whole + "[failures]\n0x4000:0x21 = 0x20000801\n");
    EXPECT_EQ(Read(io, 1), None(0xECA80801));
    SetScenario(s_whole + "[failures]\n0x4000:* = 0x20000702\n");
    EXPECT_EQ(Read(io, 1), None(0xECA61000));
    EXPECT_EQ(Write(io, 1, "01"_hex), Little(0xECA61000, 4));
    SetScenario(s_whole + "[failures]\n0x4000:0x21 = 5\n");
    EXPECT_EQ(Read(io, 1), None(NO_DATA)) << "no failure, and no value yet";
}

TEST_F(WholeBoard, CapacityTestIsStartedByAnythingButZero) {
    const unsigned int ups = HeaderOf(UPS) + 1;
    Read(ups, 1);
    ForgetRequests();
    EXPECT_EQ(Write(ups, 16, "00"_hex), Little(0, 4));
    EXPECT_EQ(CountRequests("0x5000:0x09"), 0U);
    EXPECT_EQ(Write(ups, 16, "01"_hex), Little(0, 4));
    EXPECT_EQ(CountRequests("0x5000:0x09"), 1U);
}

TEST_F(WholeBoard, SilentUpsLosesItsValuesAndGetsThemBack) {
    const unsigned int ups = HeaderOf(UPS) + 1;
    EXPECT_EQ(Read(ups, 7), Value("01"));
    SetScenario(s_whole + "[failures]\n0x5000:0x01 = 5\n");
    EXPECT_EQ(ReadUntil(ups, 7, None(NO_DATA)), None(NO_DATA));
    EXPECT_EQ(Read(ups, 11), None(NO_DATA));
    EXPECT_EQ(Read(ups, 3), Value("01"));
    SetScenario(s_whole);
    EXPECT_EQ(ReadUntil(ups, 7, Value("01")), Value("01"));
}

TEST_F(WholeBoard, DeviceThatGoesAndComesBack) {
    const unsigned int fan = HeaderOf(FAN) + 1;
    const unsigned int ups = HeaderOf(UPS) + 1;
    EXPECT_EQ(Read(fan, 1), Value("FC 08"));
    SetScenario(Replaced(s_whole, "[hwapi]\n", "[hwapi]\npresent = no\n"));
    EXPECT_EQ(ReadUntil(fan, 1, None(NO_DATA)), None(NO_DATA));
    EXPECT_EQ(Read(ups, 7), None(NO_DATA));
    SetScenario(s_whole);
    EXPECT_EQ(ReadUntil(fan, 1, Value("FC 08")), Value("FC 08"));
    EXPECT_EQ(ReadUntil(ups, 7, Value("01")), Value("01"));
}

TEST_F(WholeBoard, DeviceThatBlocksDelaysOnlyWhoAsksIt) {
    const unsigned int io = HeaderOf(IO) + 1;
    const unsigned int fan = HeaderOf(FAN) + 1;
    EXPECT_EQ(Read(fan, 1), Value("FC 08"));
    SetScenario(s_whole + "[delays]\n0x2000:* = 10000\n0x4000:* = 10000\n");
    // The ticks of the fan block, and so does whoever asks for a supply.
    std::thread blocked([io] { EXPECT_EQ(Read(io, 1), Value("01")); });
    while (CountRequests("0x4000:0x21 02") < 2 || CountRequests("0x2000:0x04") < 3) {
        std::this_thread::sleep_for(10ms);
    }
    // All of this is answered before the blocked one is: its value is not there yet.
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Read(fan, 1), Value("FC 08"));
        EXPECT_EQ(Read(0x1008, 0).code, Little(0, 4));
        EXPECT_EQ(Read(HeaderOf(UPS) + 1U, 7), Value("01"));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 9s) << "waited for the device";
    blocked.join();
}

TEST_F(WholeBoard, LoadIsMeasuredWhileSomebodyLooks) {
    const unsigned int cpu = HeaderOf(CPU) + 1;
    EXPECT_EQ(Read(cpu, 2), Value("01 00"));
    // All processors busy.
    std::vector<std::thread> busy;
    std::atomic<bool> stop{false};
    for (unsigned int i = 0; i < 2 * std::max(1U, std::thread::hardware_concurrency()); ++i) {
        busy.emplace_back([&stop] {
            while (!stop) {
            }
        });
    }
    bool isBusy = false;
    for (int attempt = 0; attempt < 300 && !isBusy; ++attempt) {
        std::this_thread::sleep_for(100ms);
        const Bytes load = Read(cpu, 2).value;
        ASSERT_EQ(load.size(), 2U);
        isBusy = load[0] > 80 && load[0] <= 100 && load[1] == 0;
    }
    stop = true;
    for (std::thread& thread : busy) {
        thread.join();
    }
    EXPECT_TRUE(isBusy);
    const TAnswer frequency = Read(cpu, 1);
    EXPECT_EQ(frequency.value.size(), 4U);
    EXPECT_NE(frequency.value, Bytes(4)) << "MHz";
}

TEST_F(WholeBoard, SleepsHalfAMinuteAfterTheLastRequestAndGivesTheDeviceBack) {
    const unsigned int fan = HeaderOf(FAN);
    const unsigned int cpu = HeaderOf(CPU);
    Read(fan + 1, 1);
    Read(cpu + 1, 1);
    EXPECT_EQ(OpenDevices(), 1U);
    std::this_thread::sleep_for(29s);
    EXPECT_EQ(OpenDevices(), 1U);
    // A module whose tick is just under way sleeps a pass of the cleanup later.
    for (int i = 0; i < 600 && OpenDevices() != 0; ++i) {
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_EQ(OpenDevices(), 0U);
    const std::size_t asked = Requests().size();
    std::this_thread::sleep_for(3s);
    EXPECT_EQ(Requests().size(), asked) << "asleep, nothing asks the device";
    EXPECT_EQ(Read(fan, 3), Text("CPU fan"));
    EXPECT_EQ(Read(fan + 1, 1), Value("FC 08"));
    EXPECT_EQ(Read(cpu + 1, 2), Value("01 00")) << "a new record begins anew";
}

TEST_F(WholeBoard, ClientShowsSensorsPinsAndSupply) {
    EXPECT_EQ(RunClient("sensors"), "KIND         SENSOR        VALUE  UNIT  RANGE\n"
                                    "temperature  CPU0             61  °C\n"
                                    "temperature  Mainboard        38  °C    -4 to 71   [###########         ]\n"
                                    "voltage      12V          12.040  V     of 12.000\n"
                                    "fan          CPU fan        2300  rpm\n"
                                    "fan          Case fan       1200  rpm\n"
                                    "load         CPU0              1  %     0 to 100   [                    ]\n"
                                    "power        UPS0       on mains\n"
                                    "charge       UPS0             70  %     0 to 100   [##############      ]\n");
    EXPECT_EQ(RunClient("gpio set 5 1"), "");
    EXPECT_EQ(CountRequests("0x3000:0x07 30"), 1U);
    EXPECT_EQ(RunClient("gpio set 1 1"), "mdp: pin 1: 0xECA60101 OBJ_E_INVALACCESS: the entry does not allow this kind "
                                         "of access; mdp describe shows what "
                                         "can be read and written\n");
    EXPECT_EQ(RunClient("--json ups").find("\"charge\": 70") != std::string::npos, true);
}

TEST_F(SomeBoard, DriverWithoutEtherCatPHasNoIoModule) {
    StartWith("[hwapi]\n" + s_temperatures + s_supplies + "[failures]\n0x4000:0x21 = 0x20000702\n");
    EXPECT_EQ(HeaderOf(IO), 0);
    EXPECT_EQ(m_log.Count("None: IO created."), 0U);
    EXPECT_NE(HeaderOf(MAINBOARD), 0);
}

TEST_F(SomeBoard, ProbeThatFailsForAnotherReasonKeepsTheIoModule) {
    StartWith("[hwapi]\n[failures]\n0x4000:0x21 = 5\n");
    const unsigned int io = HeaderOf(IO);
    ASSERT_NE(io, 0U);
    EXPECT_EQ(Read(io + 1, 1), None(NO_DATA));
}

TEST_F(SomeBoard, EmptyBoardHasItemsWithoutValues) {
    StartWith("[hwapi]\n");
    EXPECT_EQ(HeaderOf(FAN), 0);
    EXPECT_EQ(HeaderOf(UPS), 0);
    EXPECT_EQ(HeaderOf(IO), 0);
    const unsigned int board = HeaderOf(MAINBOARD);
    ASSERT_NE(board, 0U);
    EXPECT_EQ(Read(board + 1, 1), None(NO_DATA));
    EXPECT_EQ(Read(board + 3, 0), Value("00 00"));
    EXPECT_EQ(Read(board + 7, 1), None(NO_DATA));
}

TEST_F(SomeBoard, DeviceThatCannotBeOpenedIsTold) {
    StartWith("[hwapi]\nopen = 13\n");
    EXPECT_GT(m_log.Count("None: CZmVtDevWrapper::LoadDll - Open library failed!"), 0U);
    EXPECT_EQ(HeaderOf(MAINBOARD), 0);
    const unsigned int cpu = HeaderOf(CPU);
    EXPECT_EQ(Read(cpu + 1, 3), None(NO_DATA));
    EXPECT_EQ(Read(cpu + 1, 2), Value("01 00"));
}

TEST_F(NoBoard, OnlyTheProcessorIsThere) {
    EXPECT_NE(HeaderOf(CPU), 0);
    EXPECT_EQ(HeaderOf(FAN), 0);
    EXPECT_EQ(HeaderOf(MAINBOARD), 0);
    EXPECT_EQ(HeaderOf(UPS), 0);
    EXPECT_EQ(HeaderOf(IO), 0);
    EXPECT_EQ(Read(HeaderOf(CPU) + 1U, 3), None(NO_DATA));
}

TEST_F(KernelSensors, AreSensorsOfTheBoard) {
    const unsigned int cpu = HeaderOf(CPU);
    EXPECT_EQ(Read(cpu + 1, 3), Value("3D 00")) << "61.4 degrees";
    const unsigned int fan = HeaderOf(FAN);
    ASSERT_NE(fan, 0U);
    EXPECT_EQ(Read(fan, 3), Text("fan1"));
    EXPECT_EQ(Read(fan + 1, 1), Value("9C 04"));
    const unsigned int board = HeaderOf(MAINBOARD);
    ASSERT_NE(board, 0U);
    EXPECT_EQ(Read(board + 1, 1), Text("CB-1234"));
    EXPECT_EQ(Read(board + 1, 10), Value("27 00")) << "38.5 degrees";
    EXPECT_EQ(Read(board + 1, 2), None(NO_DATA)) << "nobody knows";
    EXPECT_EQ(Read(board + 2, 1), Value("02"));
    EXPECT_EQ(Read(board + 2, 2), Value("01"));
    EXPECT_EQ(Read(board + 2, 3), Value("17"));
    EXPECT_EQ(Read(board + 3, 1), Text("Vcore"));
    EXPECT_EQ(Read(board + 3, 2), Text("in1"));
    EXPECT_EQ(Read(board + 4, 1), Value("02 00"));
    EXPECT_EQ(Read(board + 4, 2), Value("05 00"));
    EXPECT_EQ(Read(board + 5, 1), Value("38 04"));
    EXPECT_EQ(Read(board + 5, 2), Value("12 2F"));
    EXPECT_EQ(Read(board + 7, 1), None(NO_DATA));
    EXPECT_EQ(HeaderOf(UPS), 0);
    EXPECT_EQ(HeaderOf(IO), 0);
}

TEST_F(KernelSensors, AreReadAnewOnEveryTick) {
    const unsigned int fan = HeaderOf(FAN) + 1;
    EXPECT_EQ(Read(fan, 1), Value("9C 04"));
    Add("hwmon2/fan1_input", "1300");
    EXPECT_EQ(ReadUntil(fan, 1, Value("14 05")), Value("14 05"));
    Add("hwmon2/fan1_input", "rubbish");
    EXPECT_EQ(ReadUntil(fan, 1, None(NO_DATA)), None(NO_DATA));
    Add("hwmon2/fan1_input", "1100");
    EXPECT_EQ(ReadUntil(fan, 1, Value("4C 04")), Value("4C 04"));
}
