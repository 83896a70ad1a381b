// Replays fuzz inputs without libFuzzer: every file of the directories named on the command
// line, then a fixed series of generated inputs (random bytes, and mutations of the corpus
// files), so that ordinary and sanitizer test runs exercise each target deterministically.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <filesystem>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace
{

std::vector<std::string> readCorpus(int argc, char** argv)
{
    std::vector<std::string> inputs;
    for (int i = 1; i < argc; ++i)
    {
        std::error_code error;
        if (!std::filesystem::is_directory(argv[i], error)) continue;
        for (const auto& entry : std::filesystem::directory_iterator(argv[i], error))
        {
            if (!entry.is_regular_file()) continue;
            std::ifstream in(entry.path(), std::ios::binary);
            inputs.emplace_back(std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>());
        }
    }
    return inputs;
}

void run(const std::string& input)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> corpus = readCorpus(argc, argv);
    for (const std::string& input : corpus) run(input);

    std::mt19937 random(20240101u);
    const int generated = 2000;
    for (int i = 0; i < generated; ++i)
    {
        std::string input;
        if (!corpus.empty() && i % 2 == 0)
        {
            input = corpus[random() % corpus.size()];
            const int edits = 1 + static_cast<int>(random() % 8);
            for (int e = 0; e < edits && !input.empty(); ++e)
                input[random() % input.size()] = static_cast<char>(random());
        }
        else
        {
            input.resize(random() % 256);
            for (char& c : input) c = static_cast<char>(random());
        }
        run(input);
    }
    std::printf("replayed %zu corpus files and %d generated inputs\n", corpus.size(), generated);
    return 0;
}
