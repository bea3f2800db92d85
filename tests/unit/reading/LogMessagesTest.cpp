#include "reading/LogMessages.hpp"

#include <gtest/gtest.h>
#include <string>

namespace {

constexpr unsigned char user = 1, security = 10, service = 22, middleware = 23, stranger = 77;

class LogMessages : public testing::Test {
protected:
    LogMessages() { DDS_Monitoring_LoggingMessage_initialize(&message_); }
    ~LogMessages() override { DDS_Monitoring_LoggingMessage_finalize(&message_); }

    std::string textOf(unsigned char facility, DDS_Monitoring_LoggingLevel severity, const char* text) {
        message_.facility = facility;
        message_.severity = severity;
        DDS_String_replace(&message_.message, text);
        return std::string(reading::textOf(message_));
    }
    std::string errorOf(unsigned char facility, const char* text) {
        return textOf(facility, DDS_Monitoring_LoggingLevel_ERROR_LEVEL, text);
    }
    // An entry of its own, as long as it has pairs.
    void addEntry(const char* key, DDS_Long pairs) {
        auto& entries = message_.structured_data;
        const DDS_Long length = DDS_Monitoring_StructuredDataMapEntrySeq_get_length(&entries) + 1;
        ASSERT_TRUE(DDS_Monitoring_StructuredDataMapEntrySeq_ensure_length(&entries, length, length));
        auto& entry = *DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&entries, length - 1);
        DDS_String_replace(&entry.key, key);
        ASSERT_TRUE(DDS_Monitoring_NameValuePairSeq_ensure_length(&entry.pairs, pairs, pairs));
        last_ = &entry;
    }
    void setPair(DDS_Long i, const char* name, const char* value) {
        auto& pair = *DDS_Monitoring_NameValuePairSeq_get_reference(&last_->pairs, i);
        DDS_String_replace(&pair.name, name);
        DDS_String_replace(&pair.value, value);
    }
    void add(const char* key, const char* name, const char* value) {
        addEntry(key, 1);
        setPair(0, name, value);
    }

    DDS_Monitoring_LoggingMessage message_{};
    DDS_Monitoring_StructuredDataMapEntry* last_ = nullptr;
};

TEST_F(LogMessages, OfMiddlewareAndServicesLoseTheLevelsWordOnce) {
    for (const unsigned char facility : {middleware, service}) {
        EXPECT_EQ(errorOf(facility, "ERROR [|LC:Discovery]nobody"), "[|LC:Discovery]nobody");
        EXPECT_EQ(errorOf(facility, "ERROR ERROR twice"), "ERROR twice");
        EXPECT_EQ(errorOf(facility, "ERROR "), "");
        EXPECT_EQ(errorOf(facility, "ERROR  indented"), " indented");
    }
    for (std::size_t i = 0; i < reading::severityWords.size(); ++i) {
        const std::string text = std::string(reading::severityWords[i]) + " text";
        EXPECT_EQ(textOf(middleware, static_cast<DDS_Monitoring_LoggingLevel>(i), text.c_str()), "text");
    }
}

TEST_F(LogMessages, KeepWhatOnlyLooksLikeTheLevelsWord) {
    EXPECT_EQ(errorOf(middleware, "ERRORS are many"), "ERRORS are many");
    EXPECT_EQ(errorOf(middleware, "WARNING of another level"), "WARNING of another level");
    EXPECT_EQ(errorOf(middleware, "error of lower case"), "error of lower case");
    EXPECT_EQ(errorOf(middleware, "ERROR"), "ERROR");
    EXPECT_EQ(errorOf(middleware, ""), "");
    for (const unsigned char facility : {user, security, stranger})
        EXPECT_EQ(errorOf(facility, "ERROR of the user's own"), "ERROR of the user's own");
}

TEST_F(LogMessages, OfSeveritiesThatNobodyKnowsStayWhatTheyAre) {
    for (const int severity : {-1, 8, 2'000'000'000}) {
        const auto strange = static_cast<DDS_Monitoring_LoggingLevel>(severity);
        EXPECT_EQ(reading::severityWord(strange), "");
        EXPECT_EQ(textOf(middleware, strange, " ERROR text"), " ERROR text");
    }
}

TEST_F(LogMessages, EndBeforeTheirLineFeeds) {
    EXPECT_EQ(errorOf(user, "disk\nfull\n\n"), "disk\nfull");
    EXPECT_EQ(errorOf(middleware, "\n\n"), "");
    EXPECT_EQ(errorOf(middleware, "ERROR \n"), "");
}

TEST_F(LogMessages, WithoutATextHaveAnEmptyOne) {
    DDS_String_free(message_.message);
    message_.message = nullptr;
    EXPECT_EQ(reading::textOf(message_), "");
}

TEST_F(LogMessages, HaveTheFirstCategoryOfTheLibrarysEntry) {
    EXPECT_EQ(reading::categoryOf(message_), "N/A");
    add("other", "category", "of another");
    add("Zentrox", "Category", "in another case");
    EXPECT_EQ(reading::categoryOf(message_), "N/A");
    addEntry("Zentrox", 2);
    setPair(0, "category", "Discovery");
    setPair(1, "category", "a second one");
    EXPECT_EQ(reading::categoryOf(message_), "Discovery");
    add("Zentrox", "category", "of a second entry");
    EXPECT_EQ(reading::categoryOf(message_), "Discovery");
    EXPECT_EQ(reading::structuredDataOf(message_).size(), 5U);
}

TEST_F(LogMessages, LeaveOutWhatIsIncomplete) {
    addEntry("Zentrox", 2);
    setPair(0, "category", "lost");
    setPair(1, "category", "kept");
    auto& first = *DDS_Monitoring_NameValuePairSeq_get_reference(&last_->pairs, 0);
    DDS_String_free(first.value);
    first.value = nullptr;
    EXPECT_EQ(reading::categoryOf(message_), "kept");
    ASSERT_EQ(reading::structuredDataOf(message_).size(), 1U);
}

TEST_F(LogMessages, AreLookedAtUpToABound) {
    const auto most = static_cast<DDS_Long>(reading::mostStructuredData);
    for (DDS_Long i = 0; i < most; ++i)
        addEntry("empty", 0);
    add("Zentrox", "category", "behind too many entries");
    EXPECT_EQ(reading::categoryOf(message_), "N/A");

    DDS_Monitoring_StructuredDataMapEntrySeq_set_length(&message_.structured_data, 0);
    addEntry("many", most);
    add("Zentrox", "category", "behind too many pairs");
    EXPECT_EQ(reading::categoryOf(message_), "N/A");
    EXPECT_EQ(reading::structuredDataOf(message_).size(), reading::mostStructuredData - 1);
}

} // namespace
