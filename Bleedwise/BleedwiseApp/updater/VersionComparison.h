#pragma once

#include <compare>

#include <QString>

/// The order of versions in an update feed.
namespace Bleedwise::VersionComparison {

/// Compares part by part, a part being a run of digits, of other characters, or a dot. Numbers
/// compare by value, whatever their length, other parts as texts. A number that one version lacks
/// is 0, so that 1.0 is 1.0.0; words that one version lacks make the other a preview of it, so that
/// 1.0b2 is before 1.0. Blanks, hyphens and underscores only separate.
std::weak_ordering compare(const QString& left, const QString& right);

} // namespace Bleedwise::VersionComparison
