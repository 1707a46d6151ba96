#include "digits/files/digit_sink.h"

#include "base/errors/exceptions.h"
#include "base/registry/named.h"
#include "digits/files/kvd_format.h"
#include "digits/files/text_format.h"

namespace kalvor {

using FileIO::FileCalls;
using FileIO::PublishedFile;

namespace {

class FileSink final : public DigitSink {
  public:
    FileSink(const FileFormat& format, const std::string& base, const DigitAmount& amount,
             const FileCalls& calls)
        : format_(format), file_(format.draft_path(base), format.final_path(base), calls), amount_(amount) {}

    const std::string& draft_path() const override { return file_.draft_path(); }
    const std::string& final_path() const override { return file_.final_path(); }
    os::OsError reserve() override { return file_.reserve(format_.most_bytes(amount_)); }
    bool needs_space() const override { return file_.needs_space(); }
    void replace_read_only() override { file_.replace_read_only(); }
    void ask_again(FileIO::AskAgain again) override { file_.ask_again(std::move(again)); }
    void on_begun(std::function<void(const File&)> begun) override { begun_ = std::move(begun); }
    std::unique_ptr<BasicDigitWriter> make_writer(std::string_view first_digits, Warnings* warnings,
                                                  AlignedBufferC lent) override {
        if (begun_) begun_({draft_path(), final_path()});
        return format_.make_writer(file_, first_digits, amount_.radix, amount_.digits, warnings, lent);
    }
    u64 bytes() const override { return file_.file().size(); }
    void discard() override { file_.discard(); }

  private:
    const FileFormat& format_;
    PublishedFile file_;
    const DigitAmount amount_;
    std::function<void(const File&)> begun_;
};

Named<const DigitFormat*>& formats() {
    static Named<const DigitFormat*> formats = [] {
        Named<const DigitFormat*> built_in("Duplicate Digit Format: ");
        built_in.add(kTextFormat, &text_format());
        built_in.add(kKvdFormat, &kvd_format());
        return built_in;
    }();
    return formats;
}

}  // namespace

DigitSink::~DigitSink() = default;
DigitFormat::~DigitFormat() = default;

void FileFormat::check(const std::string& base, const DigitAmount&, const FileCalls& calls) const {
    PublishedFile::check(draft_path(base), calls);
}

std::unique_ptr<DigitSink> FileFormat::make_sink(const std::string& base, const DigitAmount& amount,
                                                 const FileCalls& calls) const {
    return std::make_unique<FileSink>(*this, base, amount, calls);
}

void register_digit_format(const std::string& name, const DigitFormat& format) {
    formats().add(name, &format);
}

const DigitFormat& digit_format(std::string_view name) {
    const DigitFormat* const* format = formats().find(name);
    if (format == nullptr) {
        throw InvalidParametersException("digit_format()", "Unknown digit format: " + std::string(name));
    }
    return **format;
}

}  // namespace kalvor
