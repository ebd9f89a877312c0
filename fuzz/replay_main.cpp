// Runs a fuzz target without a fuzzer, as a test: every file of a corpus folder as it is, then a
// fixed number of mutations of them, the same ones each time.
//
// usage: TARGET CORPUS [MUTATIONS]

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Random = std::minstd_rand;

constexpr int kMutations = 5000;
constexpr std::size_t kMaxSize = 64u << 10;

std::vector<std::string> readCorpus(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    std::sort(files.begin(), files.end()); // the order of a folder is not the same everywhere
    std::vector<std::string> inputs;
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(stream),
                            std::istreambuf_iterator<char>());
    }
    return inputs;
}

std::size_t below(Random& random, std::size_t bound) {
    return bound == 0 ? 0 : random() % bound;
}

/// One small change: a bit, a byte, a cut, a repeat, or a piece of another input.
void mutate(std::string& input, const std::string& other, Random& random) {
    static constexpr char kTelling[] = "\"\\{}[]:,.0-+=%/&#;\0\n\x7f\x80\xff";
    const auto at = below(random, input.size() + 1);
    const auto length = below(random, 16) + 1;
    switch (random() % 6) {
    case 0:
        if (at < input.size())
            input[at] = static_cast<char>(input[at] ^ (1 << random() % 8));
        break;
    case 1:
        input.insert(at, 1, kTelling[below(random, sizeof kTelling)]);
        break;
    case 2:
        input.erase(at, length);
        break;
    case 3:
        input.insert(at, input.substr(at, length));
        break;
    case 4:
        input.insert(at, other.substr(below(random, other.size()), length));
        break;
    default:
        input.resize(at);
        break;
    }
}

void run(const std::string& input) {
    // A copy of exactly this size, so that the sanitizers see a read beyond its end.
    const std::vector<std::uint8_t> bytes(input.begin(), input.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

} // namespace

int main(int argc, char** argv) {
    const auto corpus = argc > 1 ? readCorpus(argv[1]) : std::vector<std::string>();
    if (corpus.empty()) {
        std::fputs("usage: TARGET CORPUS [MUTATIONS], with at least one file in CORPUS\n", stderr);
        return 2;
    }
    for (const auto& input : corpus)
        run(input);
    Random random(20);
    const int mutations = argc > 2 ? std::atoi(argv[2]) : kMutations;
    for (int i = 0; i < mutations; ++i) {
        auto input = corpus[below(random, corpus.size())];
        for (auto changes = random() % 8 + 1; changes > 0; --changes)
            mutate(input, corpus[below(random, corpus.size())], random);
        input.resize(std::min(input.size(), kMaxSize));
        run(input);
    }
    std::printf("%zu inputs and %d mutations\n", corpus.size(), mutations);
    return 0;
}
