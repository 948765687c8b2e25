#pragma once

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ServiceTest.h"
#include "mdp/Client.h"

// A service on a board of a scenario, which the test writes and may write anew at any time.
class SimulatedBoard : public ServiceTest {
protected:
    static constexpr const char* SCENARIO = "/run/machine/scenario";
    static constexpr const char* JOURNAL = "/tmp/requests";

    ServiceStart Start() override { return {{"-nof", "-v"}, "sylvarin", {"LD_PRELOAD=" SYLVARIN_SIMULATED_DEVICES}}; }

    // Puts the scenario in place whole, and names the journal.
    static void SetScenario(const std::string& text) {
        const std::string file = std::string(SCENARIO) + ".new";
        std::ofstream(file) << "[scenario]\njournal = " << JOURNAL << "\n" << text;
        std::rename(file.c_str(), SCENARIO);
    }

    // What the device was asked so far, a line a request.
    static std::vector<std::string> Requests() {
        std::ifstream file(JOURNAL);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    static std::size_t CountRequests(const std::string& line) {
        const auto lines = Requests();
        return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
    }

    static void ForgetRequests() { std::ofstream(JOURNAL, std::ios::trunc).flush(); }

    // The header of the module of the type, the first of several; 0 where there is none.
    std::uint16_t HeaderOf(std::uint32_t type, std::size_t which = 0) const {
        const auto modules = m_client.ListModules();
        EXPECT_TRUE(modules);
        for (const Mdp::Module& module : *modules) {
            if (module.type == type && which-- == 0) {
                return static_cast<std::uint16_t>(module.Data(1) - 1);
            }
        }
        return 0;
    }

    // The code and the bytes of a read on the wire.
    struct TAnswer {
        Bytes code;
        Bytes value;

        bool operator==(const TAnswer&) const = default;
    };

    static TAnswer Read(unsigned int index, unsigned int subIndex, bool complete = false) {
        return Unpack(WireClient::Transact(Join(
            {"AA 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00 00"_hex, Little(index, 2),
             Little(complete ? 1 : 0, 1), Little(subIndex, 1), Bytes(8), Little(128, 4), Bytes(128)})));
    }

    static Bytes Write(unsigned int index, unsigned int subIndex, const Bytes& value) {
        const std::size_t size = 24 + 18 + value.size();
        return Unpack(WireClient::Transact(
                          Join({Little(size, 8), Little(24, 8), Little(size, 8), "00 00"_hex, Little(index, 2),
                                "00"_hex, Little(subIndex, 1), Bytes(8), Little(value.size(), 4), value})))
            .code;
    }

    static TAnswer Value(const std::string& digits) { return {Little(0, 4), FromHex(digits)}; }

    static TAnswer Text(const std::string& text) { return {Little(0, 4), Bytes(text.begin(), text.end())}; }

    static TAnswer None(std::uint32_t code) { return {Little(code, 4), {}}; }

    // Asks until the answer is as expected, for at most half a minute; gives the last one.
    static TAnswer ReadUntil(unsigned int index, unsigned int subIndex, const TAnswer& expected) {
        TAnswer answer;
        for (int attempt = 0; attempt < 600; ++attempt) {
            answer = Read(index, subIndex);
            if (answer == expected) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return answer;
    }

    // Descriptors of the service that are the device.
    std::size_t OpenDevices() const {
        std::size_t count = 0;
        const std::string directory = "/proc/" + std::to_string(m_service->Pid()) + "/fd";
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            std::error_code error;
            const auto target = std::filesystem::read_symlink(entry.path(), error);
            count += target.string().find("memfd:hwapi") != std::string::npos ? 1U : 0U;
        }
        return count;
    }

    const Mdp::Client m_client;

private:
    static TAnswer Unpack(const Bytes& answer) {
        if (answer.size() < 22) {
            return {};
        }
        return {Bytes(answer.begin() + 10, answer.begin() + 14), Bytes(answer.begin() + 22, answer.end())};
    }

    static Bytes FromHex(const std::string& digits) { return operator""_hex(digits.data(), digits.size()); }
};
