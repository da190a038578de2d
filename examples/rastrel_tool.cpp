/// The command-line host of the image library: looks at image files, converts, scales, cuts, smooths and exposes them.
///
/// Exit codes: 0, 1 the command failed, 2 the command line makes no sense.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <iostream>
#include <new>

#include "tool_commands.h"
#include "tool_console.h"
#include "tool_failure.h"
#include "tool_job.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr double kWidestFilter = 1000.0;

/// What the command line asks for.
struct Request {
    std::string in;
    std::string out;
    std::string format;
    std::vector<std::string> files;
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string filter;
    double widthX = 1.0;
    double widthY = 1.0;
    bool automatic = false;
    tool::ExposureSettings exposure;
    std::string model = "rgb16";

    tool::Ends ends() const { return {tool::pathOf(in), tool::pathOf(out), format}; }
    std::vector<std::filesystem::path> paths() const {
        std::vector<std::filesystem::path> result;
        std::transform(files.begin(), files.end(), std::back_inserter(result), tool::pathOf);
        return result;
    }
};

class CommandLine {
public:
    CommandLine() {
        app_.require_subcommand(1);
        app_.allow_windows_style_options(false); // a path may begin with a slash
        addInfo();
        addConvert();
        addResize();
        addCrop();
        addLowPass();
        addExpose();
        addExif();
        addSheet();
        addTestCard();
    }

    /// Runs the command that the arguments name; the exit code.
    int run(std::vector<std::string> arguments) {
        std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the back
        try {
            app_.parse(std::move(arguments));
        } catch (const CLI::ParseError& error) {
            if (error.get_exit_code() == 0) return app_.exit(error);
            throw tool::UsageError(error.what());
        }
        return complete_ ? 0 : kFailed;
    }

private:
    CLI::App* command(const char* name, const char* text, void (CommandLine::*action)()) {
        CLI::App* const result = app_.add_subcommand(name, text);
        result->callback([this, action] { (this->*action)(); });
        return result;
    }

    void addEnds(CLI::App* to) {
        to->add_option("IN", request_.in, "image file to read")->required();
        to->add_option("OUT", request_.out, "image file to write")->required();
        to->add_option("--format", request_.format, "tif, jpg, exr, psb or tmp; without it the extension tells");
    }

    void addFilter(CLI::App* to, const char* preset) {
        request_.filter = "";
        to->add_option("--filter", request_.filter, std::string("kernel, ") + preset + " unless given")
            ->check(CLI::IsMember(tool::filterNames()));
    }

    std::string filterOr(const char* preset) const { return request_.filter.empty() ? preset : request_.filter; }

    void addInfo() {
        command("info", "show size, colour model and resolution of files", &CommandLine::info)
            ->add_option("FILES", request_.files, "image files")
            ->required();
    }

    void addConvert() {
        addEnds(command("convert", "write an image in another format, in the colours that other programs show",
                        &CommandLine::convert));
    }

    void addResize() {
        CLI::App* const to = command("resize", "scale an image, 8 bits a channel", &CommandLine::resize);
        addEnds(to);
        const CLI::Range side(1, 1000000);
        to->add_option("--width", request_.width, "pixels; without it it follows the height")->check(side);
        to->add_option("--height", request_.height, "pixels; without it it follows the width")->check(side);
        addFilter(to, "lanczos3");
    }

    void addCrop() {
        CLI::App* const to = command("crop", "cut an area out", &CommandLine::crop);
        const CLI::Range place(0, 2147483647);
        const CLI::Range side(1, 2147483647);
        addEnds(to);
        to->add_option("X", request_.x, "first column")->required()->check(place);
        to->add_option("Y", request_.y, "first row")->required()->check(place);
        to->add_option("W", request_.width, "columns")->required()->check(side);
        to->add_option("H", request_.height, "rows")->required()->check(side);
    }

    void addLowPass() {
        CLI::App* const to = command("lowpass", "smooth an image, 8 bits a channel", &CommandLine::lowPass);
        const CLI::Range widths(1.0, kWidestFilter);
        addEnds(to);
        to->add_option("--width-x", request_.widthX, "stretch of the kernel across, 1 leaves as it is")->check(widths);
        to->add_option("--width-y", request_.widthY, "stretch of the kernel down")->check(widths);
        addFilter(to, "gaussian");
    }

    void addExpose() {
        CLI::App* const to = command("expose", "put an image through an exposure curve", &CommandLine::expose);
        addEnds(to);
        CLI::Option* const automatic = to->add_flag("--auto", request_.automatic, "measure the curve's points");
        to->add_option("--points", request_.exposure.points, "levels, 0 to 1, of black, mid grey and white")
            ->expected(3)
            ->check(CLI::Range(0.0, 1.0))
            ->excludes(automatic);
        to->add_option("--amount", request_.exposure.amount, "strength, 0 to 1")->check(CLI::Range(0.0, 1.0));
    }

    void addExif() {
        command("exif", "show the metadata of a file", &CommandLine::exif)
            ->add_option("FILE", request_.in, "image file")
            ->required();
    }

    void addSheet() {
        CLI::App* const to = command("sheet", "make a contact sheet; files that cannot be read leave their frame empty",
                                     &CommandLine::sheet);
        to->add_option("OUT", request_.out, "image file to write")->required();
        to->add_option("FILES", request_.files, "image files")->required();
    }

    void addTestCard() {
        CLI::App* const to = command("testcard", "draw a test card", &CommandLine::testCard);
        const CLI::Range side(1, 100000);
        to->group(""); // not among the commands that the help shows
        to->add_option("OUT", request_.out, "image file to write")->required();
        to->add_option("--width", request_.width)->check(side);
        to->add_option("--height", request_.height)->check(side);
        to->add_option("--model", request_.model);
    }

    void info() { complete_ = tool::showInfo(request_.paths()); }
    void convert() { tool::convert(request_.ends()); }
    void resize() {
        if (request_.width == 0 && request_.height == 0) throw tool::UsageError("resize needs --width or --height");
        tool::resize(request_.ends(), request_.width, request_.height, filterOr("lanczos3"));
    }
    void crop() { tool::crop(request_.ends(), request_.x, request_.y, request_.width, request_.height); }
    void lowPass() {
        if (request_.widthX <= 1.0 && request_.widthY <= 1.0)
            throw tool::UsageError("lowpass needs --width-x or --width-y above 1");
        tool::lowPass(request_.ends(), request_.widthX, request_.widthY, filterOr("gaussian"));
    }
    void expose() {
        if (request_.automatic == !request_.exposure.points.empty())
            throw tool::UsageError("expose needs --auto or --points");
        tool::expose(request_.ends(), request_.exposure);
    }
    void exif() { tool::showExif(tool::pathOf(request_.in)); }
    void sheet() { tool::makeSheet(tool::pathOf(request_.out), request_.paths()); }
    void testCard() {
        tool::makeTestCard(tool::pathOf(request_.out), request_.width == 0 ? 640 : request_.width,
                           request_.height == 0 ? 480 : request_.height, request_.model);
    }

    CLI::App app_{"Reads, converts, scales and writes TIFF, JPEG, OpenEXR, PSB and raw image files.", "rastrel"};
    Request request_;
    bool complete_ = true;
};

} // namespace

namespace tool {

std::string oneLine(std::string message) {
    for (char& c : message) {
        if (static_cast<unsigned char>(c) < 32 || c == 127) c = '?';
    }
    return message;
}

void complain(const std::string& message) { std::cerr << "rastrel: " << oneLine(message) << std::endl; }

} // namespace tool

int main(int count, char** values) {
    try {
        tool::setUpConsole();
        tool::catchInterrupts();
        const int code = CommandLine().run(tool::arguments(count, values));
        std::cout.flush();
        if (std::cout) return code;
        tool::complain("standard output: cannot be written");
    } catch (const tool::UsageError& error) {
        tool::complain(std::string(error.what()) + " (rastrel --help tells more)");
        return kUsage;
    } catch (const std::bad_alloc&) {
        tool::complain("there is not enough memory");
    } catch (const std::exception& error) {
        tool::complain(error.what());
    }
    return kFailed;
}
