#pragma once

/// The renderer's side of `RendererProtocol`.
namespace Bleedwise::RendererService {

/// Answers requests until there is one that it does not understand, or nobody to ask any more.
void serve(int socket);

} // namespace Bleedwise::RendererService
