// Text from a URL or a header becomes a value: by an explicit content type, by sniffing its first
// bytes, or as a string.

#include "routing/argument_text.h"

#include <gtest/gtest.h>

#include <string>

#include "binding/result.h"
#include "binding/value.h"

namespace Tavix::Client {
namespace {

struct Assigned {
    BindingResult result;
    BindingValue value;
};

Assigned Assign(std::string_view text, bool sniffing, std::string_view contentType = {}) {
    Assigned assigned;
    AssignText(assigned.result, assigned.value, text, sniffing, "arg", "Fn", contentType);
    return assigned;
}

TEST(AssignTextTest, SniffsOnlyTheHeadsOfDocuments) {
    EXPECT_EQ(Assign("  [1]", true).value.Kind(), BindingValueKind::Collection);
    EXPECT_EQ(Assign("{}", true).value.Kind(), BindingValueKind::Structure);
    EXPECT_EQ(Assign("[1]", false).value.GetString(), "[1]");
    EXPECT_EQ(Assign("\t[1]", true).value.GetString(), "\t[1]");
    EXPECT_EQ(Assign("x[1]", true).value.GetString(), "x[1]");
    EXPECT_EQ(Assign("   ", true).value.GetString(), "   ");
    // A fixstr head (160) is text, not a map or an array.
    EXPECT_EQ(Assign("\xA0", true).value.GetString(), "\xA0");
    for (const char* head : {"\x80", "\x9F", "\xDC", "\xDF"}) {
        EXPECT_EQ(Assign(head, true).result.ErrorText(),
                  "Couldn't deserialize MessagePack value for parameter 'arg' of 'Fn': The "
                  "MessagePack reader is not built")
            << static_cast<int>(static_cast<unsigned char>(head[0]));
    }
    EXPECT_EQ(Assign("  --- a", true).result.ErrorText(),
              "Couldn't deserialize YAML value for parameter 'arg' of 'Fn': The YAML reader is "
              "not built");
}

TEST(AssignTextTest, AnExplicitContentTypeComesBeforeSniffing) {
    const Assigned blob = Assign("{\x01}", true, "application/octet-stream");
    ASSERT_EQ(blob.value.Kind(), BindingValueKind::Blob);
    EXPECT_EQ(blob.value.GetBlob().size(), 3u);
    EXPECT_EQ(Assign("[1,2]", false, "APPLICATION/JSON").value.Size(), 2u);
    EXPECT_FALSE(Assign("x", false, "application/x-msgpack-ext").result.Ok());
    EXPECT_FALSE(Assign("x", false, "text/x-yaml").result.Ok());
    // An unknown content type leaves the choice to sniffing.
    EXPECT_EQ(Assign("[1]", true, "text/plain").value.Kind(), BindingValueKind::Collection);
}

TEST(AssignTextTest, AFailedResultIsLeftAlone) {
    Assigned assigned;
    assigned.result.SetError("earlier");
    AssignText(assigned.result, assigned.value, "[", true, "arg", "Fn");
    EXPECT_EQ(assigned.result.ErrorText(), "earlier");
    EXPECT_TRUE(assigned.value.IsEmpty());
}

}  // namespace
}  // namespace Tavix::Client
