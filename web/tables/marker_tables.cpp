/// Writes the bit patterns of the markers that the application detects, taken from the detector
/// library's own dictionaries, as the data file that the page draws its marker sheets from:
///
///     marker_tables > src/model/tables.json
///     marker_tables --check src/model/tables.json     status 1 when the file is not up to date
///
/// A marker is a string of hexadecimal digits: its cells row by row from the top left, 1 for white,
/// the last digit filled up with zeros. All markers of a dictionary stand in one string, in the
/// order of their ids.

#include <cstddef>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "web/tables/dictionaries.h"

namespace {

std::string patternOf(const cv::aruco::Dictionary& dictionary, int id) {
    static constexpr char kDigits[] = "0123456789abcdef";
    const cv::Mat cells = cv::aruco::Dictionary::getBitsFromByteList(
        dictionary.bytesList.rowRange(id, id + 1), dictionary.markerSize);
    std::string text;
    unsigned digit = 0;
    int bits = 0;
    for (int row = 0; row < cells.rows; ++row) {
        for (int column = 0; column < cells.cols; ++column) {
            digit = digit * 2 + (cells.at<unsigned char>(row, column) != 0 ? 1 : 0);
            if (++bits == 4) {
                text += kDigits[digit];
                digit = 0;
                bits = 0;
            }
        }
    }
    if (bits != 0) {
        text += kDigits[digit << (4 - bits)];
    }
    return text;
}

std::string tables() {
    std::string text = "{\n";
    for (std::size_t i = 0; i < std::size(kDictionaries); ++i) {
        const cv::aruco::Dictionary dictionary =
            cv::aruco::getPredefinedDictionary(kDictionaries[i].type);
        text += std::string("  \"") + kDictionaries[i].name +
                "\": { \"count\": " + std::to_string(dictionary.bytesList.rows) + ", \"cells\": \"";
        for (int id = 0; id < dictionary.bytesList.rows; ++id) {
            text += patternOf(dictionary, id);
        }
        text += i + 1 < std::size(kDictionaries) ? "\" },\n" : "\" }\n";
    }
    return text + "}\n";
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 1) {
        std::cout << tables() << std::flush;
        return std::cout.good() ? 0 : 1;
    }
    if (argc != 3 || std::string(argv[1]) != "--check") {
        std::cerr << "Usage: marker_tables [--check FILE]\n";
        return 2;
    }
    std::ifstream file(argv[2], std::ios::binary);
    const std::string found{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (found != tables()) {
        std::cerr << "marker_tables: " << argv[2]
                  << " does not hold the detector's markers: write it anew with marker_tables\n";
        return 1;
    }
    return 0;
}
