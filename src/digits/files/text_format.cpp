#include "digits/files/text_format.h"

#include "base/names/names.h"
#include "digits/files/basic_text_reader.h"
#include "digits/files/basic_text_writer.h"

namespace kalvor {

namespace {

// An integer part of 64 bits and the point.
constexpr u64 kMostBeforeDigits = 21;

class TextFormat final : public FileFormat {
  public:
    TextFormat() : FileFormat(".txt") {}

    // Written in whole sectors.
    u64 most_bytes(const DigitAmount& amount) const override {
        constexpr u64 kSector = FileIO::kSectorBytes;
        return (amount.digits + kMostBeforeDigits + kSector - 1) / kSector * kSector;
    }
    u64 exact_bytes(const DigitAmount& amount, u64 integer_digits) const override {
        return integer_digits + 1 + amount.digits;
    }
    std::unique_ptr<BasicDigitWriter> make_writer(FileIO::PublishedFile& file, std::string_view first_digits,
                                                  u8 radix, u64 digits, Warnings* warnings,
                                                  AlignedBufferC lent) const override {
        return std::make_unique<BasicTextWriter>(file, first_digits, radix, digits,
                                                 SectorWindow::window_bytes(lent.size()), warnings, lent);
    }
    std::unique_ptr<BasicDigitReader> make_reader(const std::string& path, u8 radix,
                                                  const FileIO::FileCalls& calls) const override {
        return std::make_unique<BasicTextReader>(path, radix, calls);
    }
};

}  // namespace

const DigitFormat& text_format() {
    static const TextFormat format;
    return format;
}

}  // namespace kalvor
