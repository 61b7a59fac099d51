// What a program of ours needs of its process, whatever started it.
#pragma once

namespace app {

/// To be called first in main(), before anything opens a file.
///
/// - Standard input, output and error that the host has closed are opened on /dev/null, so that no
///   file of ours takes their descriptors. Input and output are set to block.
/// - SIGPIPE and SIGXFSZ are ignored: a write to a pipe without a reader, or past the limit on a
///   file's size, fails instead of ending the process.
/// - SIGCHLD gets its default action, which waitpid() needs. The host may have left it ignored.
void setUpProcess();

}  // namespace app
