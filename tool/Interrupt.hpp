#pragma once

namespace bex::tool {

/// From now on the first SIGINT or SIGTERM only sets a flag, so that the work can undo what it began; a second
/// one ends the process. For verbs that change files; the others keep the signals' own effect.
void catchInterrupts();

/// Whether a signal came.
bool interrupted() noexcept;

}  // namespace bex::tool
