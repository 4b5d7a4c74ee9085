#pragma once

#include "ContentView/ContentView.h"
#include "support/EventLoop.h"
#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise::Testing {

/// A window's view model with settings, a temporary directory and discoveries of its own.
class ViewFixture : public testing::Test {
protected:
    ViewFixture();

    /// Another one on the same settings.
    std::unique_ptr<ContentView> makeView();

    /// Writes a PDF into the fixture's folder.
    std::filesystem::path pdf(const std::filesystem::path& name) const;
    /// The same, with a first page of this size in mm.
    std::filesystem::path pdf(const std::filesystem::path& name, double width, double height) const;

    const ConversionJob& job(int row) { return view->jobs()->at(row); }
    /// Each job's file name, in the order of the list.
    std::vector<std::string> names();

    EventLoop loop;
    TemporaryFolder folder;
    std::filesystem::path temporaryDirectory = folder / "temporary";
    ScopedVariable configuration{"XDG_CONFIG_HOME", (folder / "configuration").native()};
    ScopedVariable temporary{"TMPDIR", temporaryDirectory.native()};

    /// What the view model finds.
    std::optional<Ghostscript::Installation> ghostscript;
    std::optional<std::filesystem::path> profile;

    std::unique_ptr<ContentView> view;
};

} // namespace Bleedwise::Testing
