#include "tests/unit/transcripts.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "readings/dialects.h"
#include "readings/interview.h"
#include "tests/paths.h"

namespace {

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(toupper(c)); });
    return text;
}

// "AT+CSQ;+COPS?" asks AT+CSQ and AT+COPS?.
std::vector<std::string> parts_of(const std::string &command)
{
    std::vector<std::string> parts;
    std::string rest = upper(command) + ";";
    for (size_t end; (end = rest.find(';')) != std::string::npos; rest.erase(0, end + 1)) {
        std::string part = rest.substr(0, end);
        part.erase(0, part.find_first_not_of(' '));
        if (!part.empty())
            parts.push_back(part.rfind("AT", 0) == 0 ? part : "AT" + part);
    }
    return parts;
}

std::vector<int> numbers_of(std::string list)
{
    std::vector<int> numbers;
    list += ',';
    for (size_t end; (end = list.find(',')) != std::string::npos; list.erase(0, end + 1))
        numbers.push_back(std::stoi(list.substr(0, end)));
    return numbers;
}

struct Transcript {
    std::string name;
    std::string driver;
    std::vector<std::pair<std::string, std::string>> scenes; // the blocks' numbers, the truth
    std::vector<TranscriptBlock> blocks;
};

bool take_front(std::string &line, const std::string &front)
{
    if (line.rfind(front, 0) != 0)
        return false;
    line.erase(0, front.size());
    return true;
}

std::vector<Transcript> read_file(const std::filesystem::path &file)
{
    std::vector<Transcript> transcripts;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (take_front(line, "=== "))
            transcripts.push_back({.name = line, .driver = {}, .scenes = {}, .blocks = {}});
        if (transcripts.empty() || line == transcripts.back().name)
            continue;
        Transcript &transcript = transcripts.back();
        if (take_front(line, "! driver "))
            transcript.driver = line;
        else if (take_front(line, "! scene "))
            transcript.scenes.emplace_back(line.substr(0, line.find(' ')), line.substr(line.find(' ') + 1));
        else if (line == "#" || line.rfind("# ", 0) == 0)
            continue;
        else if (take_front(line, "> "))
            transcript.blocks.push_back({.command = line, .reply = {}});
        else if (!transcript.blocks.empty())
            transcript.blocks.back().reply += line + "\r\n";
    }
    return transcripts;
}

std::vector<TranscriptScene> read_scenes()
{
    std::vector<TranscriptScene> scenes;
    for (const auto &entry : std::filesystem::directory_iterator(TEST_DATA "/transcripts")) {
        if (entry.path().extension() != ".txt")
            continue;
        for (const Transcript &transcript : read_file(entry.path()))
            for (const auto &[blocks, truth] : transcript.scenes) {
                TranscriptScene scene{
                    .name = transcript.name + " " + blocks, .driver = transcript.driver, .blocks = {}, .truth = truth};
                for (const int number : numbers_of(blocks))
                    scene.blocks.push_back(transcript.blocks.at(static_cast<size_t>(number)));
                scenes.push_back(scene);
            }
    }
    return scenes;
}

uint32_t vendor_of(const std::string &driver)
{
    static const std::map<std::string, uint32_t> vendors = {{"EC20", 0x05c6},   {"UC20", 0x05c6},
                                                            {"MC7430", 0x1199}, {"SIMCOM7600", 0x1e0e},
                                                            {"ME3630", 0x19d2}, {"NL678E", 0x2cb7}};
    const auto found = vendors.find(driver);
    return found == vendors.end() ? 0x2c7c : found->second;
}

// How the modem of a scene answers: "ERROR" to what the scene does not have.
struct Answers {
    const TranscriptScene &scene;
    std::function<std::string(std::string)> change;
};

AskResult answer_question(void *context, const Question &question, TextOut reply)
{
    const auto &answers = *static_cast<Answers *>(context);
    std::string text = answer(answers.scene, question.command);
    if (text.empty())
        text = "\r\nERROR\r\n";
    reply.assign(answers.change ? answers.change(text) : text);
    return AskResult::answered;
}

} // namespace

const std::vector<TranscriptScene> &transcript_scenes()
{
    static const std::vector<TranscriptScene> scenes = read_scenes();
    return scenes;
}

std::string answer(const TranscriptScene &scene, const std::string &command)
{
    std::string replies;
    for (const TranscriptBlock &block : scene.blocks) {
        const auto parts = parts_of(block.command);
        if (std::find(parts.begin(), parts.end(), upper(command)) != parts.end())
            replies += block.reply;
    }
    return replies;
}

Report report_of(const TranscriptScene &scene, std::function<std::string(std::string)> change)
{
    Answers answers{scene, std::move(change)};
    Report report;
    Misses misses;
    ask_all({.ask = answer_question, .context = &answers}, vendor_of(scene.driver), false, report, misses);
    return report;
}
