// Checks GenString::floatText(float) against the plain reading of its rule, with the C library's own
// printf and atof, for every float bit pattern (or every STRIDE-th one):
//
//     float_text_check [--stride N] [--threads N] [--fast]
//
// The whole run takes about two hours of processor time, or forty minutes with --fast, which
// formats and reads back with std::to_chars and std::from_chars (defined to give printf's and
// strtod's results in the "C" locale); CI runs a sample without it. Prints the first differences
// and ends with status 1 when there are any.
#include <algorithm>
#include <atomic>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "archivefile/foundation/GenString.h"

namespace {

void tidy(std::string& text) {
    if (text.find('e') != std::string::npos) return;
    if (text.find('.') == std::string::npos) text += ".0";
    while (text.size() >= 2 && text.back() == '0' && text[text.size() - 2] != '.') text.pop_back();
}

bool fast = false;

// "%.<precision>g" of the value, as printf writes it.
std::string_view formatted(char (&text)[128], double value, int precision) {
    if (fast) {
        const auto end = std::to_chars(text, text + sizeof text - 1, value, std::chars_format::general, precision).ptr;
        *end = '\0';
        return {text, static_cast<std::size_t>(end - text)};
    }
    char format[16];
    std::snprintf(format, sizeof format, "%c.%dg", '%', precision);
    std::snprintf(text, sizeof text, format, value);
    return text;
}

// The text read back as atof reads it.
double readBack(std::string_view text) {
    if (!fast) return std::atof(text.data());
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

// The rule word for word: the denormal mask, NaN and infinity, then precisions 6 to 21 built as
// "%c.%dg", each text read back through atof and a conversion to float.
std::string ruleText(std::uint32_t bits) {
    const float value = std::bit_cast<float>(bits);
    char text[128];
    if (value != 0.0f && (bits & 0x7F000000u) == 0) {
        std::snprintf(text, sizeof text, "%g/*#DEN*/", static_cast<double>(value));
    } else if (std::isnan(value)) {
        return "0.0/*NAN*/";
    } else if (!std::isfinite(value)) {
        return "-0.0/*INFINITY*/";
    } else {
        for (int precision = 6; precision <= 21; ++precision)
            if (static_cast<float>(readBack(formatted(text, static_cast<double>(value), precision))) == value) break;
    }
    std::string result = text;
    tidy(result);
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    std::uint64_t stride = 1;
    unsigned threads = std::max(1u, std::thread::hardware_concurrency());
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--fast") == 0) fast = true;
        else if (i + 1 < argc && std::strcmp(argv[i], "--stride") == 0)
            stride = std::max<std::uint64_t>(1, std::strtoull(argv[++i], nullptr, 10));
        else if (i + 1 < argc && std::strcmp(argv[i], "--threads") == 0)
            threads = std::max(1, std::atoi(argv[++i]));
    }
    // The warnings of NaN, infinity and denormals would flood the terminal.
    if (std::freopen("/dev/null", "w", stderr) == nullptr) return 2;

    // Known hard cases first: texts that read back only through the double's rounding.
    const std::vector<std::uint32_t> known{0x15ae43feu, 0x95ae43feu};
    std::atomic<std::uint64_t> differences{0}, checked{0};
    std::mutex printing;
    const auto check = [&](std::uint32_t bits) {
        const std::string expected = ruleText(bits);
        const std::string written = archivefile::GenString::floatText(std::bit_cast<float>(bits));
        checked.fetch_add(1, std::memory_order_relaxed);
        if (written == expected) return;
        if (differences.fetch_add(1) < 20) {
            const std::lock_guard lock(printing);
            std::printf("0x%08x: rule \"%s\", library \"%s\"\n", bits, expected.c_str(), written.c_str());
        }
    };
    for (const std::uint32_t bits : known) check(bits);

    std::vector<std::thread> workers;
    for (unsigned t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            for (std::uint64_t bits = std::uint64_t{t} * stride; bits <= UINT32_MAX; bits += std::uint64_t{threads} * stride)
                check(static_cast<std::uint32_t>(bits));
        });
    }
    for (std::thread& worker : workers) worker.join();
    std::printf("%llu patterns checked, %llu differ\n", static_cast<unsigned long long>(checked.load()),
                static_cast<unsigned long long>(differences.load()));
    return differences.load() == 0 ? 0 : 1;
}
