#include "readings/dialects.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "readings/interview.h"
#include "readings/report_json.h"
#include "transcripts.h"

namespace truth_test {

using Facts = std::map<std::string, json_object *>;

// The same for a scene every time, whatever other transcripts there are.
std::mt19937 random_of(const TranscriptScene &scene)
{
    std::seed_seq seed(scene.name.begin(), scene.name.end());
    return std::mt19937{seed};
}

Json json_of(const Report &report)
{
    Json object{json_object_new_object()};
    add_report(object.get(), report);
    return object;
}

void collect(json_object *object, Facts &facts)
{
    json_object_object_foreach(object, key, value) facts[key] = value;
}

// The members of the report under the names of the truth.
Facts facts_of(json_object *report)
{
    Facts facts;
    json_object_object_foreach(report, key, value)
    {
        const std::string name = key;
        if (name == "modem" || name == "sim" || name == "network" || name == "serving")
            collect(value, facts);
        else if (name != "quality")
            facts[name] = value;
    }
    if (const auto state = facts.find("state"); state != facts.end()) {
        facts["sim_state"] = state->second;
        facts.erase(state);
    }
    facts.erase("duplex");
    return facts;
}

bool is_number(json_object *value)
{
    return json_object_is_type(value, json_type_int) || json_object_is_type(value, json_type_double);
}

bool is_same(json_object *one, json_object *other)
{
    if (is_number(one) && is_number(other))
        return std::abs(json_object_get_double(one) - json_object_get_double(other)) < 1e-9;
    if (json_object_is_type(one, json_type_array) && json_object_is_type(other, json_type_array)) {
        const size_t length = json_object_array_length(one);
        if (length != json_object_array_length(other))
            return false;
        for (size_t i = 0; i < length; i++)
            if (!is_same(json_object_array_get_idx(one, i), json_object_array_get_idx(other, i)))
                return false;
        return true;
    }
    if (json_object_is_type(one, json_type_object) && json_object_is_type(other, json_type_object)) {
        if (json_object_object_length(one) != json_object_object_length(other))
            return false;
        json_object_object_foreach(one, key, value)
        {
            json_object *twin = nullptr;
            if (!json_object_object_get_ex(other, key, &twin) || !is_same(value, twin))
                return false;
        }
        return true;
    }
    return json_object_equal(one, other) != 0;
}

std::string text_of(json_object *value)
{
    return json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN);
}

std::set<std::string> take_unsure(json_object *truth)
{
    std::set<std::string> names;
    json_object *list = nullptr;
    if (!json_object_object_get_ex(truth, "unsure", &list))
        return names;
    for (size_t i = 0; i < json_object_array_length(list); i++) {
        const std::string name = json_object_get_string(json_object_array_get_idx(list, i));
        names.insert(name.substr(0, name.find('[')));
    }
    json_object_object_del(truth, "unsure");
    return names;
}

TEST(Truth, IsToldOfEverySceneWithEveryFactAndNoOther)
{
    size_t checked = 0;
    for (const TranscriptScene &scene : transcript_scenes()) {
        const Json truth{json_tokener_parse(scene.truth.c_str())};
        const auto unsure = take_unsure(truth.get());
        const Json report = json_of(report_of(scene));
        const Facts told = facts_of(report.get());
        json_object_object_foreach(truth.get(), key, value)
        {
            const auto found = told.find(key);
            checked++;
            if (found == told.end())
                ADD_FAILURE() << scene.name << ": " << key << " is missing, it is " << text_of(value);
            else if (unsure.count(key) == 0 && !is_same(value, found->second))
                ADD_FAILURE() << scene.name << ": " << key << " is " << text_of(value) << ", told is "
                              << text_of(found->second);
        }
        for (const auto &[name, fact] : told)
            if (unsure.count(name) == 0 && !json_object_object_get_ex(truth.get(), name.c_str(), nullptr))
                ADD_FAILURE() << scene.name << ": " << name << " is not told by the modem, but " << text_of(fact);
    }
    EXPECT_GT(checked, 1500U);
}

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::string rest = text;
    for (size_t end; (end = rest.find('\n')) != std::string::npos; rest.erase(0, end + 1))
        lines.push_back(rest.substr(0, end + 1));
    return lines;
}

std::string join(const std::vector<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines)
        text += line;
    return text;
}

// Every member of part is a member of whole, with the same value.
bool is_part_of(json_object *part, json_object *whole)
{
    json_object_object_foreach(part, key, value)
    {
        json_object *twin = nullptr;
        if (!json_object_object_get_ex(whole, key, &twin) || !is_same(value, twin))
            return false;
    }
    return true;
}

// value is the same as twin. A list may have fewer items than its twin, in another order, and an item fewer members.
bool agrees(json_object *value, json_object *twin)
{
    if (json_object_is_type(value, json_type_object))
        return is_part_of(value, twin);
    if (!json_object_is_type(value, json_type_array))
        return is_same(value, twin);
    for (size_t i = 0; i < json_object_array_length(value); i++) {
        bool found = false;
        for (size_t j = 0; j < json_object_array_length(twin) && !found; j++)
            found = agrees(json_object_array_get_idx(value, i), json_object_array_get_idx(twin, j));
        if (!found)
            return false;
    }
    return true;
}

// What a scene tells when its replies come as they should: all of them, and each alone, because a reply that is lost
// lets another one speak.
class ToldByScene {
  public:
    explicit ToldByScene(const TranscriptScene &scene) : scene_(scene)
    {
        add(scene);
        for (const TranscriptBlock &block : scene.blocks) {
            TranscriptScene alone = scene;
            alone.blocks = {block};
            add(alone);
        }
    }

    // What changed replies tell is valid JSON, and nothing of it is new; less is no fault.
    void expect_nothing_new(const TranscriptScene &changed, const std::string &how,
                            const std::set<std::string> &may_differ) const
    {
        const Json report = json_of(report_of(changed));
        const Json again{json_tokener_parse(text_of(report.get()).c_str())};
        ASSERT_NE(again, nullptr) << scene_.name << ' ' << how;
        for (const auto &[name, fact] : facts_of(report.get())) {
            if (may_differ.count(name) != 0)
                continue;
            EXPECT_TRUE(tells(name, fact)) << scene_.name << ' ' << how << ": " << name << " is " << text_of(fact);
        }
    }

  private:
    void add(const TranscriptScene &scene)
    {
        reports_.push_back(json_of(report_of(scene)));
        facts_.push_back(facts_of(reports_.back().get()));
    }

    bool tells(const std::string &name, json_object *fact) const
    {
        return std::any_of(facts_.begin(), facts_.end(), [&](const Facts &facts) {
            const auto found = facts.find(name);
            return found != facts.end() && agrees(fact, found->second);
        });
    }

    const TranscriptScene &scene_;
    std::vector<Json> reports_;
    std::vector<Facts> facts_;
};

// Words that answer without a tag: their place says what they are.
const std::set<std::string> without_tag = {"manufacturer", "model", "revision"};

// Each line of these has its meaning from the lines before it.
bool has_lines_in_order(const TranscriptScene &scene)
{
    return std::any_of(scene.blocks.begin(), scene.blocks.end(), [](const TranscriptBlock &block) {
        return block.command == "AT^DEBUG?" || block.command == "AT+XMCI=1";
    });
}

// A reply that ends too early may tell less. Of a line without its end nothing counts.
TEST(Truth, HasNoWrongValueWhereverAReplyIsCut)
{
    // These stand for the best or the most of several lines, of which some may be lost.
    const std::set<std::string> of_what_is_left = {"manufacturer", "model",         "technology",
                                                   "registration", "temperature_c", "sim_state"};
    for (const TranscriptScene &scene : transcript_scenes()) {
        const ToldByScene told{scene};
        for (size_t block = 0; block < scene.blocks.size(); block++) {
            const std::string &reply = scene.blocks[block].reply;
            for (size_t cut = 0; cut < reply.size(); cut++) {
                const bool is_at_end = reply[cut] == '\r' || reply[cut] == '\n' || (cut > 0 && reply[cut - 1] == '\n');
                if (!is_at_end && cut % 16 != 0)
                    continue;
                TranscriptScene changed = scene;
                changed.blocks[block].reply.resize(cut);
                told.expect_nothing_new(changed, "cut at " + std::to_string(cut), of_what_is_left);
            }
        }
    }
}

TEST(Truth, HasNoWrongValueWhenLinesChangePlaces)
{
    for (const TranscriptScene &scene : transcript_scenes()) {
        std::mt19937 random = random_of(scene);
        const ToldByScene told{scene};
        for (int round = 0; round < 4; round++) {
            if (has_lines_in_order(scene))
                continue;
            TranscriptScene changed = scene;
            for (TranscriptBlock &block : changed.blocks) {
                auto lines = lines_of(block.reply);
                std::shuffle(lines.begin(), lines.end(), random);
                block.reply = join(lines);
            }
            told.expect_nothing_new(changed, "shuffled " + std::to_string(round), without_tag);
        }
    }
}

// Lines of the next answer between those of the answer.
TEST(Truth, HasNoWrongValueWhenTheLinesOfTwoAnswersAreMixed)
{
    // Nothing tells the fifteen digits of an IMEI from those of an IMSI, nor whose error it is.
    std::set<std::string> may_differ = without_tag;
    may_differ.insert({"imei", "imsi", "sim_state"});
    for (const TranscriptScene &scene : transcript_scenes()) {
        std::mt19937 random = random_of(scene);
        const ToldByScene told{scene};
        for (int round = 0; round < 4 && scene.blocks.size() > 1; round++) {
            TranscriptScene changed = scene;
            for (size_t i = 0; i < scene.blocks.size(); i++) {
                const auto own = lines_of(scene.blocks[i].reply);
                const auto other = lines_of(scene.blocks[(i + 1) % scene.blocks.size()].reply);
                std::vector<std::string> lines;
                for (size_t a = 0, b = 0; a < own.size() || b < other.size();)
                    lines.push_back(b >= other.size() || (a < own.size() && random() % 2 != 0) ? own[a++] : other[b++]);
                changed.blocks[i].reply = join(lines);
            }
            told.expect_nothing_new(changed, "mixed " + std::to_string(round), may_differ);
        }
    }
}

TEST(Truth, IsTheSameWithEchoesAndMoreLineEnds)
{
    for (const TranscriptScene &scene : transcript_scenes()) {
        TranscriptScene changed = scene;
        for (TranscriptBlock &block : changed.blocks) {
            std::string text = block.command + "\r";
            for (const char character : block.reply)
                text += character == '\n' ? "\r\n" : std::string{character};
            block.reply = text;
        }
        EXPECT_EQ(text_of(json_of(report_of(changed)).get()), text_of(json_of(report_of(scene)).get())) << scene.name;
    }
}

TEST(Truth, HasNoWrongValueWithSpacesAfterCommas)
{
    for (const TranscriptScene &scene : transcript_scenes()) {
        TranscriptScene changed = scene;
        for (TranscriptBlock &block : changed.blocks)
            for (size_t comma = 0; (comma = block.reply.find(',', comma)) != std::string::npos; comma++)
                block.reply.insert(comma + 1, " ");
        ToldByScene{scene}.expect_nothing_new(changed, "with spaces", without_tag);
    }
}

// The answer to the question before may come after the next question. What has a tag is told by it neither twice nor
// wrong.
TEST(Truth, IsTheSameWithTheAnswerBeforeInFront)
{
    const std::set<std::string> left_out = {"manufacturer", "model", "revision", "imei", "imsi"};
    for (const TranscriptScene &scene : transcript_scenes()) {
        if (scene.name == "sim7600-1 0,1") // begins with an unasked +CPIN of before
            continue;
        TranscriptScene changed = scene;
        for (size_t i = 1; i < scene.blocks.size(); i++)
            changed.blocks[i].reply = scene.blocks[i - 1].reply + scene.blocks[i].reply;
        const Json report = json_of(report_of(scene));
        const Json changed_report = json_of(report_of(changed));
        Facts facts = facts_of(report.get());
        Facts found = facts_of(changed_report.get());
        for (const std::string &name : left_out) {
            facts.erase(name);
            found.erase(name);
        }
        EXPECT_EQ(found.size(), facts.size()) << scene.name;
        for (const auto &[name, fact] : facts)
            EXPECT_TRUE(found.count(name) != 0 && is_same(fact, found[name])) << scene.name << ": " << name;
    }
}

bool has_broken_record(const TranscriptScene &scene)
{
    return scene.name.starts_with("eg25-4") || scene.name.starts_with("l860-ru");
}

// What modems print unasked, of many makers.
const char *const unasked_lines[] = {
    "RING",
    "+CMTI: \"SM\",4",
    "^RSSI: 18",
    "+CGEV: NW DETACH",
    "NO CARRIER",
    "+QIND: SMS DONE",
    "^MODE: 17,17",
    "$QCSIMSTAT: 1,SIM INIT COMPLETED",
    "*PSUTTZ: 2026,11,22,19,40,02,\"+4\",1",
    "DST: 0",
    "+CTZV: \"26/11/22,19:40:02+04\"",
    "%NITZ: 26/11/22,19:40:02+04",
    "PB DONE",
    "SMS DONE",
    "+CUSD: 0,\"Your balance is 20.50\",15",
    "^DSFLOWRPT:00000000,00000000,00000000,00000000,00000000,00000000,00000000",
    "+QUSIM: 1",
    "UUDPD: 0",
};

// Unasked lines between the lines of an answer change nothing.
TEST(Truth, IsTheSameWithUnaskedLinesInBetween)
{
    size_t number = 0;
    const auto with_urcs = [&](const std::string &text) {
        const auto next = [&] {
            return "\r\n" + std::string{unasked_lines[number++ % std::size(unasked_lines)]} + "\r\n";
        };
        std::string changed = next();
        for (const char character : text) {
            changed += character;
            if (character == '\n')
                changed += next();
        }
        return changed;
    };
    for (const TranscriptScene &scene : transcript_scenes()) {
        const ToldByScene told{scene};
        for (size_t first = 0; first < std::size(unasked_lines); first += 7) {
            number = first;
            const std::string how = std::string{"from "} + unasked_lines[first] + " on";
            // Some modems break a record in the middle. What comes unasked there hides the rest of the record.
            if (has_broken_record(scene)) {
                TranscriptScene changed = scene;
                for (TranscriptBlock &block : changed.blocks)
                    block.reply = with_urcs(block.reply);
                told.expect_nothing_new(changed, how, {});
                continue;
            }
            EXPECT_EQ(text_of(json_of(report_of(scene, with_urcs)).get()), text_of(json_of(report_of(scene)).get()))
                << scene.name << ' ' << how;
        }
    }
}

TEST(Truth, SurvivesRandomChangesOfReplies)
{
    for (const TranscriptScene &scene : transcript_scenes()) {
        std::mt19937 random = random_of(scene);
        for (int round = 0; round < 10; round++) {
            const Json report = json_of(report_of(scene, [&](std::string text) {
                for (int change = 0; change < 4 && !text.empty(); change++)
                    text[random() % text.size()] = static_cast<char>(random());
                return text;
            }));
            const Json again{json_tokener_parse(text_of(report.get()).c_str())};
            ASSERT_NE(again, nullptr) << scene.name;
        }
    }
}

} // namespace truth_test
