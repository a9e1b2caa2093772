// tests/host/system/messages_test.cpp - packets between processes, and those that are none.

#include <gtest/gtest.h>

#include <sys/socket.h>

#include "host/system/messages.h"
#include "host/system/shared_memory.h"

using namespace fenwire;

TEST(Channel, FieldsAndDescriptorsArriveAsTheyWereSent)
{
    auto [here, there] = Channel::Pair();
    const UniqueFd block = MakeSharedBlock("test", 100);
    ASSERT_TRUE(here.Send(
        OutMessage(MessageKind::Reply).Put(int32_t{-7}).Put(uint64_t{1} << 40).Put("words"),
        &block));
    InMessage message;
    ASSERT_TRUE(there.Receive(message));
    EXPECT_EQ(message.kind(), MessageKind::Reply);
    EXPECT_EQ(message.I32(), -7);
    EXPECT_EQ(message.U64(), uint64_t{1} << 40);
    EXPECT_EQ(message.Text(), "words");
    EXPECT_EQ(Mapping(message.TakeFd()).size(), 100U);
    EXPECT_THROW(message.U32(), ProtocolError);
    EXPECT_EQ(there.TryReceive(message), Channel::Result::Nothing);
    here.Close();
    EXPECT_FALSE(there.Receive(message));
    EXPECT_FALSE(there.Send(OutMessage(MessageKind::Drain)));
}

TEST(Channel, NonsenseIsAnErrorAndNoMore)
{
    // clang-format off
    static const struct {
        const char *about;
        std::string bytes;
    } kCases[] = {
        {"too short for a kind",     "abc"                                                   },
        {"kind 0",                   std::string(4, '\0')                                    },
        {"an unknown kind",          std::string("\xff\x00\x00\x00", 4)                      },
        {"a text longer than the message", std::string("\x0c\x00\x00\x00\xff\xff\x00\x00" "ab", 10)},
        {"a packet beyond the limit", std::string(Channel::kMaxBytes + 1, '\1')               },
    };
    // clang-format on
    for (const auto &c : kCases) {
        auto [here, there] = Channel::Pair();
        ASSERT_EQ(send(here.fd(), c.bytes.data(), c.bytes.size(), 0),
                  static_cast<ssize_t>(c.bytes.size()));
        EXPECT_THROW(
            {
                InMessage message;
                there.Receive(message);
                message.Text();
            },
            ProtocolError)
            << c.about;
    }
}
