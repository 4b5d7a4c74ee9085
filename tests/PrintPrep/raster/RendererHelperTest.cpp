#include "PrintPrep/raster/RendererHelper.h"

#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/SharedMemory.h"
#include "support/Command.h"
#include "support/Rendering.h"
#include "support/SmallPDF.h"
#include "support/TemporaryFolder.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Bleedwise {
namespace {

using namespace std::chrono_literals;
using RendererProtocol::Kind;
using RendererProtocol::Request;
using RendererProtocol::Status;
using Testing::TemporaryFolder;

Request requestOf(Kind kind) {
    Request request;
    request.kind = kind;
    return request;
}

class Renderer : public testing::Test {
protected:
    const TemporaryFolder folder;
    const FileDescriptor document = openDocumentFile(folder.file("a.pdf", Testing::smallPDF()));
    RendererHelper helper = RendererHelper(RendererHelper::executableURL());
};

TEST_F(Renderer, MeasuresADocument) {
    helper.send(requestOf(Kind::measureDocument), document.get(), 60s);
    EXPECT_EQ(helper.receive().mediaBox, (Rectangle{0, 0, 100, 100}));
}

TEST_F(Renderer, TakesAProfile) {
    const auto memory = SharedMemory::copyOf(Testing::outputProfile().bytes()).value();
    Request profile = requestOf(Kind::setProfile);
    profile.size.width = static_cast<std::int64_t>(memory.size());
    helper.send(profile, memory.descriptor(), 60s);
    EXPECT_EQ(helper.receive().status, Status::done);
}

TEST_F(Renderer, RefusesAProfileThatEndsBeforeItsSize) {
    const std::string_view bytes = Testing::outputProfile().bytes();
    const auto memory = SharedMemory::copyOf(bytes.substr(0, 100'000)).value();
    Request profile = requestOf(Kind::setProfile);
    profile.size.width = static_cast<std::int64_t>(bytes.size());
    helper.send(profile, memory.descriptor(), 60s);
    EXPECT_EQ(helper.receive().status, Status::failed);
}

TEST_F(Renderer, TakesRequestsAhead) {
    helper.send(requestOf(Kind::openDocument), document.get(), 60s);
    Request box = requestOf(Kind::mediaBox);
    box.page = 1;
    helper.send(box, -1, 60s);
    EXPECT_EQ(helper.outstanding(), 2U);
    EXPECT_EQ(helper.receive().pageCount, 1);
    EXPECT_EQ(helper.receive().mediaBox, (Rectangle{0, 0, 100, 100}));
    EXPECT_EQ(helper.outstanding(), 0U);
}

TEST_F(Renderer, ForgetsADocumentThatItHasMeasured) {
    helper.send(requestOf(Kind::measureDocument), document.get(), 60s);
    Request box = requestOf(Kind::mediaBox);
    box.page = 1;
    helper.send(box, -1, 60s);
    helper.receive();
    EXPECT_EQ(helper.receive().status, Status::notThere);
}

TEST_F(Renderer, EndsOverARequestThatItDoesNotKnow) {
    helper.send(requestOf(static_cast<Kind>(99)), -1, 60s);
    EXPECT_THROW(helper.receive(), RendererHelper::Failure);
}

TEST_F(Renderer, EndsOverARequestOfAnotherVersion) {
    Request request = requestOf(Kind::mediaBox);
    request.page = 1;
    ++request.version;
    helper.send(request, -1, 60s);
    EXPECT_THROW(helper.receive(), RendererHelper::Failure);
}

TEST_F(Renderer, EndsOverADocumentThatIsNotAttached) {
    helper.send(requestOf(Kind::openDocument), -1, 60s);
    EXPECT_THROW(helper.receive(), RendererHelper::Failure);
}

TEST_F(Renderer, FailsWhenItIsLate) {
    EXPECT_THROW(
        {
            for (;;) { // on a busy machine it may answer before anybody looks
                helper.send(requestOf(Kind::measureDocument), document.get(), 0ms);
                if (helper.hasReply())
                    helper.receive();
            }
        },
        RendererHelper::Failure);
}

TEST_F(Renderer, CannotBeAskedWhenItIsDead) {
    helper.kill();
    EXPECT_THROW(
        {
            for (;;)
                helper.send(requestOf(Kind::measureDocument), document.get(), 60s);
        },
        RendererHelper::Failure);
}

TEST(RendererExecutable, LiesBesideTheProgram) {
    EXPECT_EQ(RendererHelper::executableURL().filename(), "bleedwise-renderer");
    EXPECT_TRUE(RendererHelper::executableURL().is_absolute());
}

TEST(RendererExecutable, IsTheOnlyOneThatLinksAPDFLibrary) {
    const std::filesystem::path program = BLEEDWISE_EXECUTABLE;
    for (const auto& file : {program, program.parent_path() / "bleedwise-desktop.so"})
        EXPECT_EQ(Testing::outputOf({"ldd", file}).find("poppler"), std::string::npos) << file;
    EXPECT_NE(Testing::outputOf({"ldd", RendererHelper::executableURL()}).find("poppler"),
              std::string::npos);
}

TEST(RendererExecutable, DoesNothingForAnybodyElse) {
    EXPECT_EQ(Testing::run({RendererHelper::executableURL()}).status, 1);
}

TEST(DocumentFile, IsARegularFileOnly) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe.pdf").c_str(), 0600), 0);
    EXPECT_FALSE(openDocumentFile(folder / "pipe.pdf"));
    EXPECT_FALSE(openDocumentFile(folder.path()));
    EXPECT_FALSE(openDocumentFile(folder / "missing.pdf"));
    EXPECT_TRUE(openDocumentFile(folder.file("\xff\xfe.pdf", "")));
}

} // namespace
} // namespace Bleedwise
