#include "PipelineTestSupport.h"

#include <fstream>
#include <iterator>

namespace bdx::testing {

std::string readWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace bdx::testing
