#include "app/settings/compute_views.h"

#include "base/command_line/shown_text.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/prompt/prompt.h"
#include "constants/catalog/catalog.h"
#include "constants/catalog/catalog_menu.h"
#include "platform/fileio/output_folder.h"

namespace kalvor {

using Config::Integer;
using Config::Node;
using Config::Object;
using Config::String;

namespace {

using S = ComputeSettings;
using Context = std::string_view;

std::unique_ptr<Node> node(std::string text) {
    return std::make_unique<String>(std::move(text));
}

std::unique_ptr<Node> node(i64 number) {
    return std::make_unique<Integer>(number);
}

// A setting that works on several members.
class ViewOfSettings : public Setting {
  public:
    ViewOfSettings(const char* key, const char* label, S& settings, SettingWarnings* warnings)
        : Setting(key, label), s_(settings), warnings_(warnings) {}
    Console::ColorLetter color() const override { return 'Y'; }

  protected:
    void warn(const std::string& text) const {
        if (!text.empty() && warnings_) warnings_->push_back(text);
    }

    S& s_;
    SettingWarnings* const warnings_;
};

template <class View>
SettingRow::Of view_of() {
    return [](S& s, SettingWarnings* warnings) { return std::make_shared<View>(s, warnings); };
}

// One that is a member already.
template <class Member>
SettingRow::Of member_of(Member of) {
    return [of](S& s, SettingWarnings*) { return std::shared_ptr<Setting>(std::shared_ptr<void>(), &of(s)); };
}

class ConstantView final : public ViewOfSettings {
  public:
    ConstantView(S& s, SettingWarnings* warnings)
        : ViewOfSettings("Constant", "     Constant:", s, warnings) {}
    // The constant knows what else there is in its object, the algorithm too.
    void load(const Object& object, Context) override { s_.constant = load_constant(object); }
    void save(Object& object) const override { object.add_members(*s_.constant->to_config()); }
    void edit() override {
        auto constant = choose_constant_menu();
        if (!constant) return;
        s_.constant = std::move(constant);
        // Its bounds may be others.
        const std::string warning = s_.set_decimal_digits(static_cast<i64>(s_.size.decimal_digits));
        if (!warning.empty()) Console::labelled_line("Warning", warning, 'Y');
    }
    std::string display_text() const override { return s_.constant->name_long(); }
    Console::ColorLetter color() const override { return s_.constant->color(); }

  protected:
    std::unique_ptr<Node> value_node() const override { return node(s_.constant->token()); }
};

class AlgorithmView final : public ViewOfSettings {
  public:
    AlgorithmView(S& s, SettingWarnings* warnings)
        : ViewOfSettings("Algorithm", "     Algorithm:", s, warnings) {}
    void load(const Object&, Context) override {}
    void save(Object&) const override {}
    void edit() override { s_.constant->algorithm_menu(); }
    std::string display_text() const override { return s_.constant->algorithm_long(); }

  protected:
    std::unique_ptr<Node> value_node() const override { return node(s_.constant->algorithm_token()); }
};

class DecimalDigitsView final : public ViewOfSettings {
  public:
    DecimalDigitsView(S& s, SettingWarnings* warnings)
        : ViewOfSettings("DecimalDigits", "     Decimal Digits:", s, warnings) {}
    void load(const Object& object, Context context) override {
        warn(s_.set_decimal_digits(object.get_integer(key(), context)));
    }
    void edit() override {
        const u64 least = s_.constant->min_decimal_digits(), most = s_.constant->max_decimal_digits();
        Console::print_line("Select the # of decimal digits to compute:");
        for (;;) {
            const u64 digits = Prompt::read_unsigned_in_range("Digits: ", 0, ~u64(0) >> 1, 'T');
            if (digits > most) {
                Console::print_line("Computation size cannot be larger than " + Console::format_commas(most) +
                                    " decimal digits.");
            } else if (digits < least) {
                Console::print_line("Computation size must be at least " + Console::format_commas(least) +
                                    " decimal digits.");
            } else {
                (void)s_.set_decimal_digits(static_cast<i64>(digits));
                return;
            }
        }
    }
    std::string display_text() const override { return Console::format_commas(s_.size.decimal_digits); }
    Console::ColorLetter color() const override { return 'G'; }

  protected:
    std::unique_ptr<Node> value_node() const override {
        return node(static_cast<i64>(s_.size.decimal_digits));
    }
};

class PathView final : public ViewOfSettings {
  public:
    PathView(S& s, SettingWarnings* warnings) : ViewOfSettings("Path", "     Output To:", s, warnings) {}
    void load(const Object& object, Context context) override { s_.path = object.get_string(key(), context); }
    void edit() override {
        Console::print_line("Enter the path to write all output. (e.g. \"C:\" or \"C:/temp\" )");
        Console::print_line("This is where both the digits and the validation file will be written to.");
        const std::string path = Prompt::read_text("Path", 'T');
        try {
            FileIO::try_output_folder(path);
        } catch (const FileIO::FileException&) {
            Console::print_line("Path is not writable.");
            return;
        }
        s_.path = path;
    }
    std::string display_text() const override {
        return s_.path.empty() ? "Default Path" : CommandLine::shown_path(s_.path);
    }

  protected:
    std::unique_ptr<Node> value_node() const override { return node(s_.path); }
};

class DigitFormatView final : public ViewOfSettings {
  public:
    DigitFormatView(S& s, SettingWarnings* warnings)
        : ViewOfSettings("DigitsPerFile", "     Digit Format:", s, warnings) {}
    void load(const Object& object, Context context) override {
        s_.digits_per_file = object.get_integer(key(), context);
        warn(s_.check_compression());
    }
    void edit() override {}
    std::string display_text() const override {
        if (!s_.output_enable) return "Digit Output Disabled";
        if (s_.digits_per_file == 0) return "None - Write digits to a text file.";
        if (s_.digits_per_file == S::kOneFile) return "Compress digits into one .kvd file.";
        return "Compress with " + Console::format_commas(static_cast<u64>(s_.digits_per_file)) +
               " digits per file.";
    }

  protected:
    std::unique_ptr<Node> value_node() const override { return node(s_.digits_per_file); }
};

// In this version there is one mode, and editing leaves it.
class ModeView final : public ViewOfSettings {
  public:
    ModeView(S& s, SettingWarnings* warnings)
        : ViewOfSettings("Mode", "     Computation Mode:", s, warnings) {}
    void load(const Object& object, Context context) override {
        check_mode(object.get_string(key(), context), "\"Mode : \"ram\"\"");
    }
    void edit() override {}
    std::string display_text() const override { return "Ram Only"; }

  protected:
    std::unique_ptr<Node> value_node() const override { return node("ram"); }
};

class FrameworkView final : public ViewOfSettings {
  public:
    FrameworkView(S& s, SettingWarnings* warnings)
        : ViewOfSettings("Framework", "     Multi-Threading:", s, warnings) {}
    void load(const Object& object, Context context) override { framework().load(object, context); }
    void save(Object& object) const override { framework().save(object); }
    void add_selector(Object& object) const override { framework().add_selector(object); }
    void edit() override { framework().edit(); }
    std::string display_text() const override { return s_.parallelism.summary(); }
    Console::ColorLetter color() const override { return 'T'; }

  protected:
    std::unique_ptr<Node> value_node() const override { return node(framework()->name()); }

  private:
    ChoiceSetting<FrameworkConfig>& framework() const { return s_.parallelism.framework; }
};

// Type errors name the object alone.
class AllocatorView final : public ViewOfSettings {
  public:
    AllocatorView(S& s, SettingWarnings* warnings)
        : ViewOfSettings("Allocator", "     Memory Allocator:", s, warnings) {}
    void load(const Object& object, Context) override { s_.allocator.load(object, ""); }
    void save(Object& object) const override { s_.allocator.save(object); }
    void add_selector(Object& object) const override { s_.allocator.add_selector(object); }
    void edit() override { s_.allocator.edit(); }
    std::string display_text() const override { return s_.allocator.display_text(); }
    Console::ColorLetter color() const override { return s_.allocator.color(); }

  protected:
    std::unique_ptr<Node> value_node() const override { return node(s_.allocator->name()); }
};

// A member that is on or off.
class SwitchView : public Switch {
  public:
    SwitchView(const char* key, const char* label, bool& value)
        : Switch(key, label, {"Enabled", 'G'}, {"Disabled", 'g'}), value_(value) {}

  protected:
    bool is_on() const override { return value_; }
    void set(bool value) override { value_ = value; }

  private:
    bool& value_;
};

class HexadecimalDigitsView final : public SwitchView {
  public:
    HexadecimalDigitsView(S& s, SettingWarnings*)
        : SwitchView("EnableHexDigits", "     Hexadecimal Digits:", s.enable_hex), s_(s) {}
    // A count is asked for; how many there are follows from the decimal digits.
    void edit() override {
        Console::print_line("Select the # of hexadecimal digits to compute: (0 to disable)");
        set(Prompt::read_unsigned_in_range("Digits: ", 0, ~u64(0) >> 1, 'T') != 0);
    }
    std::string display_text() const override {
        return s_.enable_hex ? Console::format_commas(s_.size.hexadecimal_digits) : Switch::display_text();
    }

  private:
    S& s_;
};

}  // namespace

void check_mode(const std::string& mode, const char* right) {
    if (mode == "ram") return;
    if (mode == "swap") {
        throw InvalidParametersException(
            "", std::string("Swap mode is not available in this version. Use ") + right + ".");
    }
    throw InvalidParametersException("", "Invalid Mode: " + CommandLine::shown(mode));
}

const ComputeSettings& SettingRow::defaults() {
    static const ComputeSettings& settings = *new ComputeSettings;
    return settings;
}

SettingRow::Of constant_setting() {
    return view_of<ConstantView>();
}
SettingRow::Of algorithm_setting() {
    return view_of<AlgorithmView>();
}
SettingRow::Of decimal_digits_setting() {
    return view_of<DecimalDigitsView>();
}
SettingRow::Of hexadecimal_digits_setting() {
    return view_of<HexadecimalDigitsView>();
}
SettingRow::Of path_setting() {
    return view_of<PathView>();
}
SettingRow::Of switch_setting(const char* key, const char* label, bool S::*member) {
    return [key, label, member](S& s, SettingWarnings*) {
        return std::make_shared<SwitchView>(key, label, s.*member);
    };
}
SettingRow::Of digit_format_setting() {
    return view_of<DigitFormatView>();
}
SettingRow::Of mode_setting() {
    return view_of<ModeView>();
}
SettingRow::Of task_decomposition_setting() {
    return member_of([](S& s) -> Setting& { return s.parallelism.task_decomposition; });
}
SettingRow::Of framework_setting() {
    return view_of<FrameworkView>();
}
SettingRow::Of allocator_setting() {
    return view_of<AllocatorView>();
}

}  // namespace kalvor
