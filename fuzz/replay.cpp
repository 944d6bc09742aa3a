#include <filesystem>
#include <fstream>
#include <sstream>

#include "fuzz/target.h"

// Feeds the files of folders to a target, without a fuzzer.

int main(int argc, char *argv[])
{
    int count = 0;
    for (int i = 1; i < argc; ++i)
        for (const auto &entry : std::filesystem::directory_iterator{argv[i]}) {
            std::stringstream content;
            content << std::ifstream{entry.path(), std::ios::binary}.rdbuf();
            const std::string bytes = content.str();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
            ++count;
        }
    std::printf("%d files\n", count);
    return count > 0 ? 0 : 1;
}
