#pragma once

/// The compiled shaders of the window, kept from one run to the next in the user's cache folder, so
/// that the first frame need not wait for the graphics driver's compiler.
///
/// Qt does this by itself from 6.5 on. It throws away what another driver has compiled.
namespace Bleedwise::GraphicsCache {

/// Has Qt Quick read the cache and, at the end of the program, write it. To be called after the
/// application's name is set and before the first window. Leaves the user's own choice in the
/// environment alone; without a folder to write to, does nothing.
void use();

} // namespace Bleedwise::GraphicsCache
