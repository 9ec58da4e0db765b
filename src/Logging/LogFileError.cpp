#include "zorlan/Logging/LogFileError.hpp"

namespace zorlan {

const char* LogFileError::what() const noexcept {
  switch (code_) {
    case Code::creating: return "LogFileError.creating";
    case Code::excluding: return "LogFileError.excluding";
    case Code::unknownSize: return "LogFileError.unknownSize";
    case Code::opening: return "LogFileError.opening";
    case Code::writing: return "LogFileError.writing";
    case Code::deleting: return "LogFileError.deleting";
    case Code::full: return "LogFileError.full";
    case Code::reading: return "LogFileError.reading";
    case Code::parsing: return "LogFileError.parsing";
  }
  return "LogFileError";
}

}  // namespace zorlan
