#pragma once

namespace bex::tool {

/// From now on the first SIGINT, SIGTERM or SIGHUP only sets a flag and ends standard input and output (they
/// become /dev/null), so that work which waits for one of them goes on and can undo what it began; a second one
/// ends the process. A signal that was ignored before stays ignored. For verbs that change files; the others keep
/// the signals' own effect.
void catchInterrupts();

/// Whether a signal came.
bool interrupted() noexcept;

}  // namespace bex::tool
