#pragma once
// Garbage for parsers: random bytes, well-formed samples with bytes changed, cut or repeated, and huge texts.
// Seeded, so that a failure comes again.
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

constexpr int garbage_inputs = 100000;

class Garbage {
public:
    Garbage(uint32_t seed, std::vector<std::string> samples, std::string alphabet)
        : random_(seed), samples_(std::move(samples)), alphabet_(std::move(alphabet))
    {
    }

    size_t below(size_t n) { return random_() % n; }

    std::string next()
    {
        std::string text = below(4) == 0 ? "" : samples_[below(samples_.size())];
        for (size_t changes = below(6); changes > 0; changes--) {
            size_t at = below(text.size() + 1);
            switch (below(4)) {
            case 0:
                text.resize(at);
                break;
            case 1:
                text.insert(at, 1, any_byte());
                break;
            case 2:
                text.insert(at, text.substr(0, below(40)));
                break;
            default:
                if (at < text.size())
                    text[at] = any_byte();
            }
        }
        if (below(2000) == 0)
            text.append(20000, any_byte());
        return text;
    }

    // The next text in memory of exactly its size, so that the sanitizer sees one byte too far.
    std::unique_ptr<char[]> next_copy()
    {
        std::string text = next();
        std::unique_ptr<char[]> copy(new char[text.size() + 1]);
        text.copy(copy.get(), text.size());
        copy[text.size()] = '\0';
        return copy;
    }

private:
    char any_byte() { return below(3) == 0 ? static_cast<char>(random_()) : alphabet_[below(alphabet_.size())]; }

    std::mt19937 random_;
    std::vector<std::string> samples_;
    std::string alphabet_;
};
