#include "mdp/Client.h"

#include <unistd.h>

#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeService.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

Mdp::Client ClientOf(const FakeService& service, std::uint32_t capacity = 8) {
    Mdp::ClientOptions options;
    options.socketPath = service.Path();
    options.timeout = 5s;
    options.readCapacity = capacity;
    return Mdp::Client(options);
}

TestBytes Slice(const TestBytes& bytes, std::size_t from, std::size_t to) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

TestBytes Padded(TestBytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

} // namespace

TEST(Client, ReadSendsOneSharedRecordAndGivesTheValue) {
    FakeService service({Reply(Hex("0000 1180 00 02 0000000000000000 03000000 616263"))});

    const auto value = ClientOf(service).Read(0x8011, 2);

    ASSERT_TRUE(value) << value.Error().Message();
    EXPECT_EQ(*value, Hex("616263"));
    EXPECT_THAT(service.Frames(), ElementsAre(Hex("3200000000000000 1800000000000000 1800000000000000"
                                                  "0000 1180 00 02 0000000000000000 08000000"
                                                  "0000000000000000")));
}

TEST(Client, ReadGivesTheCodeOfTheObjectLayer) {
    FakeService service({Reply(Hex("0000 9999 00 00 0001A6ECFFFFFFFF 00000000"))});

    const auto value = ClientOf(service).Read(0x9999, 0);

    ASSERT_FALSE(value);
    EXPECT_EQ(value.Error().kind, Mdp::ErrorKind::Object);
    EXPECT_EQ(value.Error().code, 0xECA60100U);
    EXPECT_EQ(value.Error().Message(), "0xECA60100 OBJ_E_INVALIDIDX: the object or entry does not exist");
}

TEST(Client, ReadOfASuccessCodeOtherThanZeroIsASuccess) {
    FakeService service({Reply(Hex("0000 1180 00 02 0100000000000000 01000000 07"))});

    const auto value = ClientOf(service).Read(0x8011, 2);

    ASSERT_TRUE(value);
    EXPECT_EQ(*value, Hex("07"));
}

TEST(Client, ReadGrowsItsBufferWhenTheValueIsLonger) {
    const std::string tooSmall = "0000 1180 00 02 0201A6ECFFFFFFFF 00000000";
    FakeService service(
        {Reply(Hex(tooSmall)), Reply(Hex(tooSmall)), Reply(Hex("0000 1180 00 02 0000000000000000 02000000 4142"))});

    const auto value = ClientOf(service).Read(0x8011, 2);

    ASSERT_TRUE(value);
    EXPECT_EQ(*value, Hex("4142"));
    const auto frames = service.Frames();
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[0].size(), 42U + 8);
    EXPECT_EQ(frames[1].size(), 42U + 64);
    EXPECT_EQ(frames[2].size(), 42U + 512);
    // The capacity stands in the record, too.
    EXPECT_EQ(Slice(frames[2], 38, 42), Hex("00020000"));
}

TEST(Client, ReadStopsGrowingAtItsLimit) {
    FakeService service([](const TestBytes&) { return Reply(Hex("0000 1180 00 02 0201A6ECFFFFFFFF 00000000")); });
    Mdp::ClientOptions options;
    options.socketPath = service.Path();
    options.readCapacity = 8;
    options.maximumCapacity = 100;

    const auto value = Mdp::Client(options).Read(0x8011, 2);

    ASSERT_FALSE(value);
    EXPECT_EQ(value.Error().code, Mdp::OBJ_E_BUFFERTOOSMALL);
    const auto frames = service.Frames();
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames.back().size(), 42U + 100);
}

TEST(Client, CompleteReadSetsItsFlagAndKeepsTheBytesInFrontOfAFailure) {
    FakeService service({Reply(Hex("0000 1180 01 00 0510A6ECFFFFFFFF 04000000 04001122"))});

    const auto value = ClientOf(service).ReadComplete(0x8011);

    ASSERT_TRUE(value);
    EXPECT_EQ(value->code, 0xECA61005U);
    EXPECT_EQ(value->data, Hex("04001122"));
    EXPECT_EQ(Slice(service.Frames()[0], 24, 30), Hex("0000 1180 01 00"));
}

TEST(Client, WriteSendsItsRecordInFrontOfAnEmptyAnswerArea) {
    FakeService service({Reply(Hex("0000 0810 00 00 0000000000000000 00000000"))});

    const auto written = ClientOf(service).Write(0x1008, 0, Hex("68657921"));

    EXPECT_TRUE(written);
    EXPECT_THAT(service.Frames(), ElementsAre(Hex("2e00000000000000 1800000000000000 2e00000000000000"
                                                  "0000 0810 00 00 0000000000000000 04000000 68657921")));
}

TEST(Client, WriteGivesTheCodeOfTheObjectLayer) {
    FakeService service({Reply(Hex("0000 0910 00 00 0101A6ECFFFFFFFF 00000000"))});

    const auto written = ClientOf(service).Write(0x1009, 0, Hex("00"));

    ASSERT_FALSE(written);
    EXPECT_EQ(written.Error().code, Mdp::OBJ_E_INVALACCESS);
}

TEST(Client, ListAsksForTheCountsAndThenForAsManyIndexes) {
    FakeService service({Reply(Hex("0200 0000 0000 0200 0200")), Reply(Hex("0010 1080"))});

    const auto indexes = ClientOf(service).ListObjects();

    ASSERT_TRUE(indexes);
    EXPECT_THAT(*indexes, ElementsAre(0x1000, 0x8010));
    EXPECT_THAT(service.Frames(), ElementsAre(Hex("3400000000000000 1800000000000000 2a00000000000000"
                                                  "0100 0000 0000000000000000000000000000"
                                                  "00000000000000000000"),
                                              Hex("2e00000000000000 1800000000000000 2a00000000000000"
                                                  "0100 0100 0000000000000000000000000000"
                                                  "00000000")));
}

TEST(Client, ListThatHasGrownSinceTheCountIsAskedForWithRoomForAllIndexes) {
    FakeService service({Reply(Hex("0100 0000 0000 0100 0100")), NoReply(), Reply(Hex("0010 1080"))});

    const auto indexes = ClientOf(service).ListObjects();

    ASSERT_TRUE(indexes);
    EXPECT_THAT(*indexes, ElementsAre(0x1000, 0x8010));
    EXPECT_EQ(service.Frames()[2].size(), 42U + 131072);
}

TEST(Client, ObjectDescriptionIsTakenFromItsOddOffsets) {
    FakeService service({Reply(Hex("08 0700 05 0000000000000000 4e6963"))});

    const auto object = ClientOf(service).DescribeObject(0x8011, Mdp::LanguageGerman);

    ASSERT_TRUE(object);
    EXPECT_EQ(object->objectCode, Mdp::ObjectArray);
    EXPECT_EQ(object->dataType, 7);
    EXPECT_EQ(object->itemCount, 5);
    EXPECT_EQ(object->name, "Nic");
    EXPECT_EQ(service.Frames()[0], Padded(Hex("3601000000000000 1800000000000000 2a00000000000000"
                                              "0200 1180 07040000"),
                                          310));
}

TEST(Client, ObjectDescriptionWithALongNameIsAskedForAgainWithMoreRoom) {
    FakeService service({NoReply(), Reply(Hex("0000 0810 00 00 0000000000000000 01000000 41")),
                         Reply(Hex("07 0900 01 0000000000000000 41"))});

    const auto object = ClientOf(service).DescribeObject(0x1008);

    ASSERT_TRUE(object);
    EXPECT_EQ(object->name, "A");
    EXPECT_EQ(service.Frames()[2].size(), 42U + 12 + 65536);
}

TEST(Client, DescriptionOfWhatDoesNotExistGivesItsCode) {
    const auto refuse = [](const TestBytes& frame) {
        return frame[24] == 0 ? Reply(Hex("0000 9999 00 00 0001A6ECFFFFFFFF 00000000")) : NoReply();
    };
    FakeService service(refuse);

    const auto object = ClientOf(service).DescribeObject(0x9999);
    const auto entry = ClientOf(service).DescribeEntry(0x9999, 3);

    ASSERT_FALSE(object);
    EXPECT_EQ(object.Error().code, Mdp::OBJ_E_INVALIDIDX);
    ASSERT_FALSE(entry);
    EXPECT_EQ(entry.Error().code, Mdp::OBJ_E_INVALIDIDX);
    EXPECT_EQ(Slice(service.Frames()[3], 24, 30), Hex("0000 9999 00 03"));
}

TEST(Client, DescriptionThatIsRefusedForAnotherReasonStaysAClosedConnection) {
    FakeService service([](const TestBytes& frame) {
        return frame[24] == 0 ? Reply(Hex("0000 0810 00 00 0000000000000000 01000000 41")) : NoReply();
    });

    const auto entry = ClientOf(service).DescribeEntry(0x1008, 0);

    ASSERT_FALSE(entry);
    EXPECT_EQ(entry.Error().kind, Mdp::ErrorKind::Closed);
}

TEST(Client, EntryDescriptionAsksForAccessAndReadsPastTheResult) {
    // 320 bytes counted from the result on: the record itself ends eight bytes early.
    TestBytes body = Hex("0000000000000000"
                         "4001000000000000 0100 0900 8800 3f00"
                         "ffffffffffffffff ffffffffffffffff ffffffffffffffff ffffffffffffffff"
                         "4000000000000000 0400000000000000 41646472");
    FakeService service({Reply(Padded(body, 320))});

    const auto entry = ClientOf(service).DescribeEntry(0x8011, 2, Mdp::LanguageEnglish);

    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->dataType, 9);
    EXPECT_EQ(entry->bitLength, 136);
    EXPECT_TRUE(entry->readable);
    EXPECT_TRUE(entry->writable);
    EXPECT_EQ(entry->name, "Addr");
    EXPECT_EQ(service.Frames()[0], Padded(Hex("7201000000000000 1800000000000000 2a00000000000000"
                                              "0300 1180 02 09040000 000000000000000000"
                                              "0000000000000000 4001000000000000 0100"),
                                          370));
}

TEST(Client, EntryDescriptionTellsReadOnlyAndWriteOnly) {
    const std::string front = "0000000000000000 4001000000000000 0100 0700 2000";
    const std::string back = "ffffffffffffffff ffffffffffffffff ffffffffffffffff ffffffffffffffff"
                             "4000000000000000 0000000000000000";
    FakeService service(
        {Reply(Padded(Hex(front + "0700" + back), 320)), Reply(Padded(Hex(front + "3800" + back), 320))});

    const auto readOnly = ClientOf(service).DescribeEntry(0x8011, 1);
    const auto writeOnly = ClientOf(service).DescribeEntry(0x8011, 1);

    ASSERT_TRUE(readOnly);
    ASSERT_TRUE(writeOnly);
    EXPECT_TRUE(readOnly->readable && !readOnly->writable);
    EXPECT_TRUE(!writeOnly->readable && writeOnly->writable);
}

TEST(Client, ModulesComeFromTheAddressTypeAndNameLists) {
    const std::string ok = "0000000000000000";
    FakeService service({Reply(Hex("0000 20f0 01 00" + ok + "0a000000 0200 00000200 05001b00")),
                         Reply(Hex("0000 30f0 01 00" + ok + "06000000 0200 0200 1b00")),
                         Reply(Hex("0000 60f0 00 01" + ok + "03000000 656d30")),
                         Reply(Hex("0000 0080 00 02" + ok + "03000000 4e6963")),
                         Reply(Hex("0000 0080 00 04" + ok + "04000000 10270200")),
                         Reply(Hex("0000 60f0 00 02 0501A6ECFFFFFFFF 00000000")),
                         Reply(Hex("0000 5080 00 02" + ok + "03000000 46414e")),
                         Reply(Hex("0000 5080 00 04" + ok + "04000000 10271b00"))});

    const auto modules = ClientOf(service).ListModules();

    ASSERT_TRUE(modules) << modules.Error().Message();
    ASSERT_EQ(modules->size(), 2U);
    const Mdp::Module& nic = (*modules)[0];
    EXPECT_EQ(nic.index, 0x8000);
    EXPECT_EQ(nic.type, 2);
    EXPECT_EQ(nic.typeName, "Nic");
    EXPECT_EQ(nic.name, "em0");
    const Mdp::Module& fan = (*modules)[1];
    EXPECT_EQ(fan.slot, 5);
    EXPECT_EQ(fan.index, 0x8050);
    EXPECT_EQ(fan.name, "") << "a name of no length has no data";
    EXPECT_EQ(fan.ident, 0x001B2710U);
    EXPECT_EQ(fan.Data(1), 0x8051);
    EXPECT_EQ(fan.Service(2), 0xB052);
}

TEST(Client, ModulesOfOneTypeAreListedWithoutAWordAboutTheOthers) {
    const std::string ok = "0000000000000000";
    FakeService service({Reply(Hex("0000 20f0 01 00" + ok + "0a000000 0200 00000200 05001b00")),
                         Reply(Hex("0000 30f0 01 00" + ok + "06000000 0200 0200 1b00")),
                         Reply(Hex("0000 60f0 00 02" + ok + "04000000 46414e31")),
                         Reply(Hex("0000 5080 00 02" + ok + "03000000 46414e")),
                         Reply(Hex("0000 5080 00 04" + ok + "04000000 10271b00"))});

    const auto modules = ClientOf(service).ListModules(27);

    ASSERT_TRUE(modules) << modules.Error().Message();
    ASSERT_EQ(modules->size(), 1U);
    EXPECT_EQ((*modules)[0].index, 0x8050);
    EXPECT_EQ((*modules)[0].name, "FAN1");
    EXPECT_EQ(service.Frames().size(), 5U);
}

TEST(Client, ModuleListsOfDifferentLengthAreAProtocolError) {
    FakeService service({Reply(Hex("0000 20f0 01 00 0000000000000000 06000000 0100 00000200")),
                         Reply(Hex("0000 30f0 01 00 0000000000000000 02000000 0000"))});

    const auto modules = ClientOf(service).ListModules();

    ASSERT_FALSE(modules);
    EXPECT_EQ(modules.Error().kind, Mdp::ErrorKind::Protocol);
}

TEST(Client, CallStartsPollsAndFetchesTheResponse) {
    FakeService service({Reply(Hex("0000 00b0 00 01 0000000000000000 00000000")),
                         Reply(Hex("0000 00b0 00 02 0000000000000000 01000000 ff")),
                         Reply(Hex("0000 00b0 00 02 0000000000000000 01000000 e8")),
                         Reply(Hex("0000 00b0 00 02 0000000000000000 01000000 01")),
                         Reply(Hex("0000 00b0 02 01 0000000000000000 04000000 0100 4142"))});
    std::vector<std::optional<std::uint8_t>> progress;
    Mdp::CallOptions options;
    options.progress = [&](Mdp::ServiceStatus status) { progress.push_back(status.Progress()); };

    const auto response = ClientOf(service).CallService(0xB000, Hex("99"), options);

    ASSERT_TRUE(response) << response.Error().Message();
    EXPECT_EQ(response->status.value, 1);
    EXPECT_FALSE(response->status.Failed());
    EXPECT_EQ(response->FailureCode(), Mdp::OBJ_E_NOERR);
    EXPECT_EQ(response->data, Hex("4142"));
    EXPECT_THAT(progress, ElementsAre(std::nullopt, std::optional<std::uint8_t>(232)));
    const auto frames = service.Frames();
    ASSERT_EQ(frames.size(), 5U);
    EXPECT_EQ(frames[0], Hex("2b00000000000000 1800000000000000 2b00000000000000"
                             "0000 00b0 00 01 0000000000000000 01000000 99"));
    EXPECT_EQ(frames[1], Hex("2b00000000000000 1800000000000000 1800000000000000"
                             "0000 00b0 00 02 0000000000000000 01000000 00"));
    EXPECT_EQ(Slice(frames[4], 24, 30), Hex("0000 00b0 02 01"));
}

TEST(Client, CallTriesABusyServiceAgain) {
    FakeService service({Reply(Hex("0000 00b0 00 01 0002A6ECFFFFFFFF 00000000")),
                         Reply(Hex("0000 00b0 00 01 0000000000000000 00000000")),
                         Reply(Hex("0000 00b0 00 02 0000000000000000 01000000 00")),
                         Reply(Hex("0000 00b0 02 01 0000000000000000 02000000 0000"))});

    const auto response = ClientOf(service).CallService(0xB000, {});

    ASSERT_TRUE(response);
    EXPECT_EQ(service.Frames().size(), 4U);
}

TEST(Client, CallTellsThatAServiceStaysBusy) {
    FakeService service([](const TestBytes&) { return Reply(Hex("0000 00b0 00 01 0002A6ECFFFFFFFF 00000000")); });
    Mdp::CallOptions options;
    options.busyTimeout = 20ms;

    const auto response = ClientOf(service).CallService(0xB000, {}, options);

    ASSERT_FALSE(response);
    EXPECT_EQ(response.Error().code, Mdp::OBJ_E_BUSY);
}

TEST(Client, CallTellsThatTheJobStillRunsAfterItsTime) {
    FakeService service([](const TestBytes& frame) {
        return frame[29] == 1 ? Reply(Hex("0000 00b0 00 01 0000000000000000 00000000"))
                              : Reply(Hex("0000 00b0 00 02 0000000000000000 01000000 ff"));
    });
    Mdp::CallOptions options;
    options.timeout = 20ms;

    const auto response = ClientOf(service).CallService(0xB000, {}, options);

    ASSERT_FALSE(response);
    EXPECT_EQ(response.Error().kind, Mdp::ErrorKind::Timeout);
    EXPECT_EQ(response.Error().Message(), "the job still runs");
}

TEST(Client, CallTakesAStatusThatIsNotAnsweredForARunningJob) {
    int polls = 0;
    FakeService service([&](const TestBytes& frame) {
        if (frame[28] == 2) {
            return Reply(Hex("0000 00b0 02 01 0000000000000000 02000000 0000"));
        }
        if (frame[29] == 1) {
            return Reply(Hex("0000 00b0 00 01 0000000000000000 00000000"));
        }
        return polls++ == 0 ? FakeReply{{}, true} : Reply(Hex("0000 00b0 00 02 0000000000000000 01000000 00"));
    });
    Mdp::ClientOptions options;
    options.socketPath = service.Path();
    options.timeout = 50ms;

    const auto response = Mdp::Client(options).CallService(0xB000, {});

    ASSERT_TRUE(response) << response.Error().Message();
    EXPECT_EQ(response->status.value, 0);
    EXPECT_EQ(polls, 2);
}

TEST(Client, RequestSentAheadIsWholeWhenItsJobBegins) {
    FakeService service({Reply(Hex("0000 00b0 00 01 0000000000000000 00000000"))});
    const Mdp::Client client = ClientOf(service);
    const TestBytes head = Hex("98");
    const TestBytes data = Hex("9a9b");
    const Mdp::ByteView parts[] = {head, data, {}};

    auto ahead = client.SendRequestAhead(0xB000, parts);
    ASSERT_TRUE(ahead) << ahead.Error().Message();
    const auto begun = client.BeginService(0xB000, parts, {}, std::move(*ahead));

    ASSERT_TRUE(begun) << begun.Error().Message();
    EXPECT_THAT(service.Frames(), ElementsAre(Hex("2d00000000000000 1800000000000000 2d00000000000000"
                                                  "0000 00b0 00 01 0000000000000000 03000000 989a9b")));
}

TEST(Client, RequestSentAheadAndGivenUpStartsNothing) {
    FakeService service({Reply(Hex("0000 1180 00 02 0000000000000000 01000000 07"))});
    const Mdp::Client client = ClientOf(service);
    const TestBytes request = Hex("99");
    const Mdp::ByteView parts[] = {request};

    ASSERT_TRUE(client.SendRequestAhead(0xB000, parts)); // its end is its object's
    const auto value = client.Read(0x8011, 2);

    ASSERT_TRUE(value) << value.Error().Message();
    const auto frames = service.Frames();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(Slice(frames[0], 24, 30), Hex("0000 1180 00 02"));
}

TEST(Client, RequestSentAheadIsSentAgainWhereTheServiceIsBusy) {
    FakeService service({Reply(Hex("0000 00b0 00 01 0002A6ECFFFFFFFF 00000000")),
                         Reply(Hex("0000 00b0 00 01 0000000000000000 00000000"))});
    const Mdp::Client client = ClientOf(service);
    const TestBytes request = Hex("99");
    const Mdp::ByteView parts[] = {request};

    auto ahead = client.SendRequestAhead(0xB000, parts);
    ASSERT_TRUE(ahead);
    const auto begun = client.BeginService(0xB000, parts, {}, std::move(*ahead));

    ASSERT_TRUE(begun) << begun.Error().Message();
    const auto frames = service.Frames();
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0], frames[1]);
}

TEST(Client, ResponseAskedForAheadNeedsNoPoll) {
    FakeService service({Reply(Hex("0000 00b0 02 01 0000000000000000 04000000 0100 4142"))});
    const Mdp::Client client = ClientOf(service);
    Mdp::CallOptions options;
    options.responseCapacity = 2;
    Mdp::Bytes buffer;

    auto ahead = client.AskForResponseAhead(0xB000, options.responseCapacity);
    ASSERT_TRUE(ahead) << ahead.Error().Message();
    const auto response = client.FinishService(0xB000, options, buffer, std::move(*ahead));

    ASSERT_TRUE(response) << response.Error().Message();
    EXPECT_EQ(response->status.value, 1);
    EXPECT_THAT(response->data, testing::ElementsAreArray(Hex("4142")));
    const auto frames = service.Frames();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(Slice(frames[0], 24, 30), Hex("0000 00b0 02 01"));
}

TEST(Client, FailureAskedForAheadIsToldAsIt) {
    FakeService service({Reply(Hex("0000 00b0 02 01 0001A6ECFFFFFFFF 00000000"))});
    const Mdp::Client client = ClientOf(service);
    Mdp::Bytes buffer;

    auto ahead = client.AskForResponseAhead(0xB000, 0);
    ASSERT_TRUE(ahead);
    const auto response = client.FinishService(0xB000, {}, buffer, std::move(*ahead));

    ASSERT_FALSE(response);
    EXPECT_EQ(response.Error().code, Mdp::OBJ_E_INVALIDIDX);
    EXPECT_EQ(service.Frames().size(), 1U);
}

// What came too early, or does not fit, is asked for again when the job has ended.
TEST(Client, ResponseAskedForTooEarlyIsPolledFor) {
    const FakeReply early[] = {
        Reply(Hex("0000 00b0 02 01 0000000000000000 02000000 00ff")), // still runs
        Reply(Hex("0000 00b0 02 01 0201A6ECFFFFFFFF 00000000")),      // longer than expected
        FakeReply{{}, true},                                          // no answer
    };
    for (const FakeReply& first : early) {
        SCOPED_TRACE(&first - early);
        FakeService service({first, Reply(Hex("0000 00b0 00 02 0000000000000000 01000000 ff")),
                             Reply(Hex("0000 00b0 00 02 0000000000000000 01000000 01")),
                             Reply(Hex("0000 00b0 02 01 0000000000000000 04000000 0100 4142"))});
        Mdp::ClientOptions options;
        options.socketPath = service.Path();
        options.timeout = 200ms;
        const Mdp::Client client(options);
        Mdp::Bytes buffer;

        auto ahead = client.AskForResponseAhead(0xB000, 0);
        ASSERT_TRUE(ahead);
        const auto response = client.FinishService(0xB000, {}, buffer, std::move(*ahead));

        ASSERT_TRUE(response) << response.Error().Message();
        EXPECT_THAT(response->data, testing::ElementsAreArray(Hex("4142")));
        EXPECT_EQ(service.Frames().size(), 4U);
    }
}

TEST(Client, FailedJobTellsItsCodeFromFourOrEightBytes) {
    const auto four = Mdp::ServiceResponse{{3}, Hex("0201A6EC")};
    const auto eight = Mdp::ServiceResponse{{3}, Hex("0601A6EC00000000")};
    const auto none = Mdp::ServiceResponse{{2}, {}};

    EXPECT_EQ(four.FailureCode(), 0xECA60102U);
    EXPECT_EQ(eight.FailureCode(), 0xECA60106U);
    EXPECT_EQ(none.FailureCode(), Mdp::OBJ_E_FAILED);
}

TEST(Client, ResponseOfARunningJobIsTakenFromTheSecondByte) {
    FakeService service({Reply(Hex("0000 00b0 02 01 0000000000000000 02000000 00ff"))});

    const auto response = ClientOf(service).FetchResponse(0xB000);

    ASSERT_TRUE(response);
    EXPECT_TRUE(response->status.Running());
}

TEST(Client, ConnectionClosedWithoutAnAnswerIsAnErrorOfItsOwn) {
    FakeService service({NoReply()});

    const auto value = ClientOf(service).Read(0x8011, 2);

    ASSERT_FALSE(value);
    EXPECT_EQ(value.Error().kind, Mdp::ErrorKind::Closed);
    EXPECT_EQ(value.Error().Message(), "the service closed the connection without an answer");
}

TEST(Client, AnswerThatEndsInTheMiddleIsAProtocolError) {
    for (const char* bytes : {"12000000 0000", "1200", "ffffffff 00"}) {
        FakeService service({FakeReply{Hex(bytes), false}});

        const auto value = ClientOf(service).Read(0x8011, 2);

        ASSERT_FALSE(value) << bytes;
        EXPECT_EQ(value.Error().kind, Mdp::ErrorKind::Protocol) << bytes;
    }
}

TEST(Client, AnswersOfTheWrongFormAreProtocolErrors) {
    for (const char* body : {"", "0000 1180 00 02 0000000000000000", "0000 1180 00 02 0000000000000000 02000000 41",
                             "0000 1180 00 02 0000000000000000 00000000 41"}) {
        FakeService service({Reply(Hex(body))});

        const auto value = ClientOf(service).Read(0x8011, 2);

        ASSERT_FALSE(value) << body;
        EXPECT_EQ(value.Error().kind, Mdp::ErrorKind::Protocol) << body;
        EXPECT_THAT(value.Error().Message(), HasSubstr("malformed answer")) << body;
    }
}

TEST(Client, ServiceThatDoesNotAnswerEndsInATimeout) {
    FakeService service({FakeReply{{}, true}, FakeReply{Hex("12000000 0000"), true}});
    Mdp::ClientOptions options;
    options.socketPath = service.Path();
    options.timeout = 30ms;
    const Mdp::Client client(options);

    const auto silent = client.Read(0x8011, 2);
    const auto half = client.Read(0x8011, 2);

    ASSERT_FALSE(silent);
    EXPECT_EQ(silent.Error().kind, Mdp::ErrorKind::Timeout);
    ASSERT_FALSE(half);
    EXPECT_EQ(half.Error().kind, Mdp::ErrorKind::Timeout);
}

TEST(Client, MissingServiceIsAConnectErrorWithItsPath) {
    Mdp::ClientOptions options;
    options.socketPath = "/nonexistent/MDP0";

    const auto value = Mdp::Client(options).Read(0x8011, 2);

    ASSERT_FALSE(value);
    EXPECT_EQ(value.Error().kind, Mdp::ErrorKind::Connect);
    EXPECT_EQ(value.Error().systemError, ENOENT);
    EXPECT_EQ(value.Error().Message(), "connecting to \"/nonexistent/MDP0\": No such file or directory");
}

TEST(Client, ServiceOfAnotherUserIsRefused) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to be another user";
    }
    ASSERT_EQ(seteuid(65534), 0);
    FakeService service({Reply(Hex("0000 1180 00 02 0000000000000000 01000000 07"))});
    ASSERT_EQ(seteuid(0), 0);

    const auto value = ClientOf(service).Write(0x8011, 2, Hex("07"));

    ASSERT_FALSE(value);
    EXPECT_EQ(value.Error().kind, Mdp::ErrorKind::Connect);
    EXPECT_EQ(value.Error().Message(),
              "connecting to \"" + service.Path() + "\": user 65534 listens there, and neither root nor you");
    EXPECT_TRUE(service.Frames().empty());
}

TEST(Client, SocketPathThatNoAddressHoldsIsAnArgumentError) {
    for (const std::string& path : {std::string(), std::string(200, 'x')}) {
        Mdp::ClientOptions options;
        options.socketPath = path;

        const auto value = Mdp::Client(options).Read(0x8011, 2);

        ASSERT_FALSE(value);
        EXPECT_EQ(value.Error().kind, Mdp::ErrorKind::Argument);
    }
}
