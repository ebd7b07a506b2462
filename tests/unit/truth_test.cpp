#include "readings/dialects.h"

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

// A reply that ends too early may tell less. What it tells is in range, and the report is valid JSON whatever comes.
TEST(Truth, StaysInRangeWhereverAReplyIsCut)
{
    for (const TranscriptScene &scene : transcript_scenes()) {
        size_t longest = 0;
        for (const TranscriptBlock &block : scene.blocks)
            longest = std::max(longest, block.reply.size());
        for (size_t cut = 0; cut < longest; cut += 1 + cut / 10) {
            const Json report = json_of(report_of(scene, [&](const std::string &text) { return text.substr(0, cut); }));
            const Json again{json_tokener_parse(text_of(report.get()).c_str())};
            ASSERT_NE(again, nullptr) << scene.name << " cut at " << cut;
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

// The answer to the question before may come after the next question. What has a tag is told by it neither twice nor
// wrong.
TEST(Truth, IsTheSameWithTheAnswerBeforeInFront)
{
    const std::set<std::string> without_tag = {"manufacturer", "model", "revision", "imei", "imsi"};
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
        for (const std::string &name : without_tag) {
            facts.erase(name);
            found.erase(name);
        }
        EXPECT_EQ(found.size(), facts.size()) << scene.name;
        for (const auto &[name, fact] : facts)
            EXPECT_TRUE(found.count(name) != 0 && is_same(fact, found[name])) << scene.name << ": " << name;
    }
}

// Unasked lines between the lines of an answer change nothing.
TEST(Truth, IsTheSameWithUnaskedLinesInBetween)
{
    const auto with_urcs = [](const std::string &text) {
        std::string changed = "\r\n+CMTI: \"SM\",4\r\n";
        for (const char character : text) {
            changed += character;
            if (character == '\n')
                changed += "\r\nRING\r\n";
        }
        return changed;
    };
    for (const TranscriptScene &scene : transcript_scenes()) {
        // A line break within the answer is one of the faults that modems have; a second one there is too much.
        if (scene.name.rfind("eg25-4", 0) == 0)
            continue;
        EXPECT_EQ(text_of(json_of(report_of(scene, with_urcs)).get()), text_of(json_of(report_of(scene)).get()))
            << scene.name;
    }
}

TEST(Truth, SurvivesRandomChangesOfReplies)
{
    std::mt19937 random{20261122};
    for (const TranscriptScene &scene : transcript_scenes())
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

} // namespace truth_test
