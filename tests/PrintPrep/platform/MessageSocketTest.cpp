#include "PrintPrep/platform/MessageSocket.h"

#include "support/OpenDescriptors.h"

#include <array>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using MessageSocket::Attachments;

class Messages : public testing::Test {
protected:
    bool send(const std::string& text, int attachment = -1) const {
        return MessageSocket::send(ours.get(), text.data(), text.size(), attachment);
    }

    /// Of four bytes.
    std::optional<MessageSocket::Received> receive(Attachments attachments = Attachments::refused) {
        return MessageSocket::receive(theirs.get(), bytes.data(), bytes.size(), attachments);
    }

    std::pair<FileDescriptor, FileDescriptor> pair = MessageSocket::makePair();
    FileDescriptor& ours = pair.first;
    FileDescriptor& theirs = pair.second;
    std::array<char, 4> bytes = {};
};

TEST_F(Messages, ArriveAsTheyWereSent) {
    ASSERT_TRUE(send("abcd"));
    ASSERT_TRUE(send("efgh"));
    ASSERT_TRUE(receive());
    EXPECT_EQ(std::string(bytes.data(), 4), "abcd");
    ASSERT_TRUE(receive());
    EXPECT_EQ(std::string(bytes.data(), 4), "efgh");
}

TEST_F(Messages, BringAnotherDescriptorOfTheSameFile) {
    std::array<int, 2> ends = {};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);
    ASSERT_TRUE(send("abcd", writeEnd.get()));
    writeEnd.close();
    const auto received = receive(Attachments::allowed);
    ASSERT_TRUE(received && received->attachment);
    ASSERT_EQ(::write(received->attachment.get(), "x", 1), 1);
    char byte = 0;
    EXPECT_EQ(::read(readEnd.get(), &byte, 1), 1);
}

TEST_F(Messages, NeedNoAttachment) {
    ASSERT_TRUE(send("abcd"));
    const auto received = receive(Attachments::allowed);
    ASSERT_TRUE(received);
    EXPECT_FALSE(received->attachment);
}

TEST_F(Messages, ThatAreTooShortAreNone) {
    ASSERT_TRUE(send("abc"));
    EXPECT_FALSE(receive());
}

TEST_F(Messages, ThatAreTooLongAreNone) {
    ASSERT_TRUE(send("abcde"));
    EXPECT_FALSE(receive());
}

TEST_F(Messages, WithAnAttachmentThatIsRefusedAreNone) {
    ASSERT_TRUE(send("abcd", STDIN_FILENO));
    EXPECT_FALSE(receive());
}

TEST_F(Messages, LeaveNoDescriptorBehindThatWasRefused) {
    const std::size_t before = Testing::openDescriptors();
    ASSERT_TRUE(send("abcd", STDIN_FILENO));
    receive();
    EXPECT_EQ(Testing::openDescriptors(), before);
}

TEST_F(Messages, EndWithTheOtherSide) {
    ours.close();
    EXPECT_FALSE(receive());
}

TEST_F(Messages, CannotBeSentToNobody) {
    theirs.close();
    EXPECT_FALSE(send("abcd"));
}

TEST_F(Messages, AreNotWaitedForWhenTheyAreNotRead) {
    int count = 0;
    while (send(std::string(10'000, 'x')))
        ASSERT_LT(++count, 10'000);
    SUCCEED();
}

} // namespace
} // namespace Bleedwise
