#include "ExitCode.hpp"

namespace zf {
namespace {
int gExitCode = 0;
}  // namespace

int exitCode() { return gExitCode; }
void setExitCode(int code) { gExitCode = code; }

}  // namespace zf
