// The exit code `zf` ends with, set by the subcommand that ran.
#pragma once

namespace zf {

// The exit code of the subcommand that ran (0 when all went well).
int exitCode();
// Sets it; the last call wins.
void setExitCode(int code);

}  // namespace zf
