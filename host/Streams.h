#pragma once

namespace SFHost {

/// A file opened later must not take the place of a closed standard stream, where the library writes its lines.
/// What takes it instead is opened the wrong way round, so that its use fails as that of the closed one.
void OpenMissingStreams();

} // namespace SFHost
