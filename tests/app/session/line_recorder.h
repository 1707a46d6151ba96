// A Status for tests of sessions.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
#include "base/names/names.h"
#include "base/status/data_record.h"
#include "base/status/status.h"

namespace kalvor_test {

// Notes what is reported, in the form that the console gives it.
class LineRecorder final : public trel::Status, public trel::StatusIterationNode {
  public:
    void Status_ColoredLine(const std::vector<ColoredText>& segments) override {
        for (const ColoredText& segment : segments) text += segment.text;
        text += "\n";
    }
    void Status_Line(std::string_view line) override {
        text += std::string(line) + "\n";
        steps.emplace_back(line);
    }
    void Status_Label(trel::u64 width, std::string_view name, const ColoredText& value) override {
        std::string label(name);
        label.resize(width, ' ');
        text += label + value.text + "\n";
        if (at_label) at_label(name);
    }
    void Status_Time(std::string_view name, double) override { text += std::string(name) + ":  \n"; }
    void Warning(std::string_view line) override { text += "\n" + std::string(line) + "\n"; }
    void PauseWarning(std::string_view line) override { Warning(line); }
    void Pause() override { pauses++; }
    [[noreturn]] void FatalError(std::string_view) override { std::abort(); }
    void Status_LineSectionStart(std::string_view line) override { text += line; }
    void Status_LineSectionAdd(const ColoredText& piece) override { text += piece.text; }
    void Status_LineSectionEnd() override { text += "\n"; }
    void refresh(bool) override {}
    Status& Status_MicroSectionStart(std::string_view name) override { return Status_Line(name), *this; }
    void Status_MicroSectionEnd() override { text += "Time:    \n"; }
    Status& push_node(const ColoredText& frame) override {
        frames.push_back(frame.text);
        steps.push_back(frame.text);
        if (stop_at_frame) stop_at_frame();
        return *this;
    }
    void pop_frame() override {}
    trel::StatusIterationNode& make_iteration(IterationMode, trel::u64) override { return *this; }
    void update(trel::u64) override {}

    void Data_(const trel::DataRecord& record) override {
        trel::Config::Object object;
        record.write(object);
        records.push_back(object.to_acfg());
        record_names.push_back(record.name());
        records_begin = std::min(records_begin, text.size());
    }

    std::string text;
    std::vector<std::string> frames;  // of the progress line
    std::vector<std::string> steps;   // lines and frames in their order
    int pauses = 0;
    // Data records, and where in the text the first one came.
    std::vector<std::string> records, record_names;
    std::size_t records_begin = std::string::npos;
    std::function<void()> stop_at_frame;
    std::function<void(std::string_view name)> at_label;
};

}  // namespace kalvor_test
