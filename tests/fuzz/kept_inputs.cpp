// Runs one fuzz target on the inputs that are kept: corpus/TARGET, from which fuzzing starts, and
// findings/TARGET, each the smallest input that once showed a defect. A test's name is its file's.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/fuzz/fuzz_input.h"

// A target may do without.
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

std::vector<std::filesystem::path> keptInputs() {
    std::vector<std::filesystem::path> files;
    for (const char* const folder : {"corpus", "findings"}) {
        const std::filesystem::path path =
            std::filesystem::path(ZM_FUZZ_FOLDER) / folder / ZM_FUZZ_TARGET;
        if (!std::filesystem::is_directory(path)) {
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string testName(const std::filesystem::path& file) {
    std::string name =
        file.parent_path().parent_path().filename().string() + "_" + file.filename().string();
    std::replace_if(
        name.begin(), name.end(), [](unsigned char letter) { return std::isalnum(letter) == 0; },
        '_');
    return name;
}

class KeptInput : public testing::TestWithParam<std::filesystem::path> {
  protected:
    static void SetUpTestSuite() {
        if (LLVMFuzzerInitialize != nullptr) {
            int count = 0;
            char** arguments = nullptr;
            s_canRun = LLVMFuzzerInitialize(&count, &arguments) == 0;
        }
    }

    void SetUp() override {
        if (!s_canRun) {
            GTEST_SKIP() << "this target cannot run here";
        }
    }

    static inline bool s_canRun = true;
};

TEST_P(KeptInput, Holds) {
    std::ifstream file(GetParam(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    ASSERT_TRUE(file.good() || file.eof());

    try {
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    } catch (const fuzzing::Finding& finding) {
        ADD_FAILURE() << GetParam() << ": " << finding.what();
    }
}

INSTANTIATE_TEST_SUITE_P(Fuzz, KeptInput, testing::ValuesIn(keptInputs()),
                         [](const auto& instance) { return testName(instance.param); });

TEST(KeptInputs, AreThere) {
    EXPECT_FALSE(keptInputs().empty());
}

} // namespace
