// The dispatcher through the host's eyes: a module declares small routes, the test host reads
// the function records of its ApiDescription and calls their entries, and the answers are read
// back from the HostResponse before the host releases it.

#include "routing/dispatcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "routes_module.h"

namespace Tavix::Client::Testing {
namespace {

using TestHost::ApiAnswer;
using TestHost::ApiCall;
using TestHost::Value;

std::vector<std::string> DescribedLines(const TestHost::Module& module) {
    std::vector<std::string> lines;
    for (const TestHost::FunctionInfo& function : module.Functions()) {
        lines.push_back(TestHost::DescribeLine(function));
    }
    return lines;
}

// ---- The description ---------------------------------------------------------------------

TEST_F(RoutesTest, EachRouteGetsAFunctionRecordWithItsLocations) {
    Load([](RouteDeclarer& routes, BindingDispatcher& dispatcher) {
        routes.Get("/test/v1/items/{id}", [](std::int32_t, std::string) { return Resource(); })
            .PathArgument("id", "The item")
            .QueryArgument("filter");
        routes.Put("/test/v1/shapes/", [](Shape) -> ResourceOf<Shape> { return Shape(); })
            .BodyArgument("shape");
        routes.Declare(kMethodAny, "/any/", [](const std::string&) { return Resource(); })
            .HeaderArgument("Token");
        routes.Get("/", [] { return Resource(); });
        // Only functions with a route are described to the host as callable.
        dispatcher.DeclareFunction("Loose", 0);
    });
    EXPECT_THAT(DescribedLines(*module),
                ::testing::ElementsAre("GET /test/v1/items/{id} GetTestV1ItemsById id:path "
                                       "filter:query",
                                       "PUT /test/v1/shapes PutTestV1Shapes shape:body",
                                       "* /any Any Token:header", "GET / Get"));

    const HostFunctionRecord& get = Api().functions[0];
    EXPECT_EQ(get.head.next, &Api().functions[1].head);
    EXPECT_EQ(Api().functions[3].head.next, nullptr);
    EXPECT_NE(get.head.callContext, nullptr);
    EXPECT_NE(get.head.callContext, Api().functions[1].head.callContext);
    EXPECT_EQ(get.callEntry, &BindingDispatcher::CallEntry);
    EXPECT_STREQ(get.methodText, "");
    ASSERT_EQ(Unpacked(get.head.tagCount), 2u);
    EXPECT_STREQ(get.head.tags[0], "Plugins");
    EXPECT_STREQ(get.head.tags[1], "Plugin routes-module");
    EXPECT_EQ(Unpacked(get.head.arguments[0].kind), 6u);
    EXPECT_STREQ(get.head.arguments[0].description, "The item");
    EXPECT_EQ(Unpacked(get.head.returnKind), 0u);

    const HostFunctionRecord& put = Api().functions[1];
    EXPECT_EQ(Unpacked(put.head.returnKind), 17u);
    EXPECT_STREQ(put.head.returnTypeName, "Shape");
    EXPECT_STREQ(put.head.arguments[0].typeName, "Shape");
    EXPECT_EQ(put.locations[0].next, nullptr);

    bool describesShape = false;
    for (std::uint32_t i = 0; i < Api().typeCount; ++i) {
        describesShape = describesShape || std::strcmp(Api().types[i].name, "Shape") == 0;
    }
    EXPECT_TRUE(describesShape);
    EXPECT_GT(Api().eventCount, 0u);
}

TEST_F(RoutesTest, ASecondDeclarationKeepsTheFirstHandlerUrlAndMethod) {
    bool secondExisted = false;
    Load([&](RouteDeclarer& routes, BindingDispatcher&) {
        routes.Get("/test/v1/twice", []() -> ResourceOf<std::string> { return std::string("1"); });
        RouteBuilder again = routes.Get(
            "/test/v1/twice/", []() -> ResourceOf<std::string> { return std::string("2"); });
        again.PathArgument("ignored").SetUrl("/elsewhere").SetMethod(kMethodPost);
        secondExisted = again.Existed();
    });
    EXPECT_TRUE(secondExisted);
    EXPECT_THAT(DescribedLines(*module),
                ::testing::ElementsAre("GET /test/v1/twice GetTestV1Twice"));
    EXPECT_EQ(Call(kMethodGet, "/test/v1/twice").value, Value::Text("1"));
}

// ---- Path, query and headers -------------------------------------------------------------

TEST_F(RoutesTest, PathParametersAreDecodedThenConverted) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Get("/test/v1/items/{id}",
                 [](std::int32_t id) -> ResourceOf<std::int32_t> { return id * 2; })
            .PathArgument("id");
        routes
            .Get("/test/v1/files/{+path}",
                 [](std::string path) -> ResourceOf<std::string> { return path; })
            .PathArgument("path");
    });
    EXPECT_EQ(Call(kMethodGet, "/test/v1/items/21").value, Value::Signed(42));
    EXPECT_EQ(Call(kMethodGet, "/test/v1/items/%32%31").value, Value::Signed(42));
    const ApiAnswer bad = Call(kMethodGet, "/test/v1/items/x1");
    EXPECT_EQ(ErrorOf(bad), "Value x1 for 'id' of type int32 is in an incorrect format");
    EXPECT_EQ(bad.status, 0u);
    EXPECT_TRUE(bad.errorOwned);
    EXPECT_EQ(Call(kMethodGet, "/test/v1/files/a/b+c/d").value, Value::Text("a/b c/d"));
}

// A literal route takes a URL with a query for another URL, so routes that read the query end in
// a parameter, which takes the query too: "/test/v1/echo/t?flag" gives the tail "t?flag".

TEST_F(RoutesTest, QueryPiecesFollowTheirRules) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Get("/test/v1/echo/{tail}",
                 [](const std::string&, bool flag,
                    std::optional<std::string> name) -> ResourceOf<std::string> {
                     return std::string(flag ? "on " : "off ") + name.value_or("-");
                 })
            .PathArgument("tail")
            .QueryArgument("flag")
            .QueryArgument("name");
        routes.Get("/test/v1/literal", [] { return Resource(); });
    });
    const auto echo = [&](const std::string& query) {
        return Call(kMethodGet, "/test/v1/echo/t" + query);
    };
    EXPECT_EQ(echo("").value, Value::Text("off -"));
    EXPECT_EQ(echo("?").value, Value::Text("off -"));
    EXPECT_EQ(echo("?flag").value, Value::Text("on -"));
    EXPECT_EQ(echo("?flag=false&name=a+b").value, Value::Text("off a b"));
    EXPECT_EQ(echo("?name=1&name=2").value, Value::Text("off 2"));
    EXPECT_EQ(echo("?n%61me=x%3Dy=z").value, Value::Text("off x=y=z"));
    EXPECT_EQ(ErrorOf(echo("?flag&")), "Unknown argument '' for 'GetTestV1EchoByTail'.");
    EXPECT_EQ(ErrorOf(echo("?other=1")), "Unknown argument 'other' for 'GetTestV1EchoByTail'.");
    EXPECT_EQ(ErrorOf(Call(kMethodGet, "/test/v1/literal?flag")), "Invalid function");
    EXPECT_EQ(ErrorOf(echo("?flag=maybe")),
              "Value maybe for 'flag' of type bool is in an incorrect format. Options are "
              "\"true\", \"false\", \"1\", \"0\".");
}

TEST_F(RoutesTest, DottedKeysWalkIntoCollectionsAndRecords) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Get("/test/v1/fill/{tail}",
                 [](const std::string&, std::vector<std::string> list,
                    Shape shape) -> ResourceOf<Shape> {
                     shape.name += ":" + std::to_string(list.size());
                     for (const std::string& item : list) {
                         shape.name += "," + item;
                     }
                     return shape;
                 })
            .PathArgument("tail")
            .QueryArgument("list")
            .QueryArgument("shape");
    });
    const ApiAnswer answer = Call(
        kMethodGet,
        "/test/v1/fill/t?list.0=x&list.2=y&shape.name=tri&shape.points.1.x=3&shape.points.0x1.y=4");
    ASSERT_EQ(ErrorOf(answer), "(ok)");
    EXPECT_EQ(*answer.value.Find("name"), Value::Text("tri:3,x,,y"));
    const Value* points = answer.value.Find("points");
    ASSERT_NE(points, nullptr);
    EXPECT_EQ(*points,
              Value::List({Value::Map({{"x", Value::Signed(0)}, {"y", Value::Signed(0)}}),
                           Value::Map({{"x", Value::Signed(3)}, {"y", Value::Signed(4)}})}));
}

TEST_F(RoutesTest, IndicesInKeysMustParseAndStayInRange) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Get("/test/v1/list/{tail}", [](const std::string&, std::vector<std::string>,
                                            std::int32_t) { return Resource(); })
            .PathArgument("tail")
            .Argument("list")
            .Argument("count");
    });
    const auto error = [&](const std::string& query) {
        return ErrorOf(Call(kMethodGet, "/test/v1/list/t?" + query));
    };
    EXPECT_EQ(error("list.0x=a"), "Index 0x is in an incorrect format");
    EXPECT_EQ(error("list.08=a"), "Index 08 is in an incorrect format");
    EXPECT_EQ(error("list.1a=a"), "Index 1a is in an incorrect format");
    EXPECT_EQ(error("list.2147483648=a"), "Index 2147483648 is out of range");
    EXPECT_EQ(error("list.99999999999999999999=a"), "Index 99999999999999999999 is out of range");
    // Below the limit, but a request may not make a list of two billion elements.
    EXPECT_EQ(error("list.0x7fffffff=a"), "Index 0x7fffffff is out of range");
    EXPECT_EQ(error("list.0.1048570=a&list.1.1048570=a"), "Index 1048570 is out of range");
    EXPECT_EQ(error("count"), "Expected value for argument 'count'.");
    // A key below a scalar still walks; the conversion then refuses the structure.
    EXPECT_EQ(error("list.0=a&count.deep=1"),
              "Couldn't assign value to 'count' of type int32 because the input is of an invalid "
              "type structure.");
    std::string deep = "list.0=a&count=1&list.1";
    for (int i = 0; i < 300; ++i) {
        deep += ".a";
    }
    EXPECT_EQ(error(deep + "=x"),
              "Argument 'list' for 'GetTestV1ListByTail' is nested too deeply.");
}

TEST_F(RoutesTest, HeadersMatchTheLowerCaseNameAndTheLastOneCounts) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Get("/test/v1/token/{tail}",
                 [](const std::string&, std::optional<std::string> token)
                     -> ResourceOf<std::string> { return token.value_or("none"); })
            .PathArgument("tail")
            .HeaderArgument("Token");
    });
    ApiCall call = Request(kMethodGet, "/test/v1/token/t");
    call.headers = {{"token", "a"}, {"accept", "x"}, {"token", "b"}};
    EXPECT_EQ(Call(call).value, Value::Text("b"));
    call.headers = {{"Token", "a"}};
    EXPECT_EQ(Call(call).value, Value::Text("none"));
    EXPECT_EQ(ErrorOf(Call(kMethodGet, "/test/v1/token/t?Token=a")),
              "Argument 'Token' for 'GetTestV1TokenByTail' was specified in an invalid location.");
}

TEST_F(RoutesTest, TextThatLooksLikeADocumentIsReadForRecordsAndLists) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Get("/test/v1/sniff/{tail}",
                 [](const std::string&, std::optional<Shape> shape,
                    std::optional<std::string> text) -> ResourceOf<std::string> {
                     return (shape ? shape->name : "-") + "|" + text.value_or("-");
                 })
            .PathArgument("tail")
            .QueryArgument("shape")
            .QueryArgument("text");
    });
    const auto call = [&](const std::string& query) {
        return Call(kMethodGet, "/test/v1/sniff/t?" + query);
    };
    EXPECT_EQ(call("shape=%7B%22name%22:%22sq%22%7D").value, Value::Text("sq|-"));
    EXPECT_EQ(call("shape=%20%20%7B%22name%22:%22sq%22%7D").value, Value::Text("sq|-"));
    // A string argument keeps the text as it is.
    EXPECT_EQ(call("text=%7B%22a%22:1%7D").value, Value::Text("-|{\"a\":1}"));
    // Only spaces may come before the document.
    EXPECT_EQ(ErrorOf(call("shape=%09%7B%7D")),
              "Couldn't assign value to 'shape' of type Shape because the input not a structure.");
    EXPECT_EQ(ErrorOf(call("shape=%7B")),
              "Couldn't deserialize JSON value for parameter 'shape' of 'GetTestV1SniffByTail': "
              "Error: Missing a name for object member. at offset 1.");
    EXPECT_EQ(
        ErrorOf(call("shape=---%0Aname:%20x")),
        "Couldn't deserialize YAML value for parameter 'shape' of 'GetTestV1SniffByTail': The "
        "YAML reader is not built");
    EXPECT_EQ(
        ErrorOf(call("shape=%81%A4name")),
        "Couldn't deserialize MessagePack value for parameter 'shape' of 'GetTestV1SniffByTail': "
        "The MessagePack reader is not built");
    EXPECT_EQ(call("shape").value, Value::Text("|-"));
}

// ---- The request's parameter list --------------------------------------------------------

TEST_F(RoutesTest, PositionalParametersStandAfterThePathParameters) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Get("/test/v1/items/{id}",
                 [](std::string id, std::int32_t count) -> ResourceOf<std::string> {
                     return id + "x" + std::to_string(count);
                 })
            .PathArgument("id")
            .Argument("count");
    });
    ApiCall call = Request(kMethodGet, "/test/v1/items/a");
    call.parameters.push_back({std::nullopt, Value::Signed(3)});
    EXPECT_EQ(Call(call).value, Value::Text("ax3"));
    // A named parameter finds its argument whatever the argument's location, after the path.
    call.parameters.push_back({std::string("id"), Value::Text("b")});
    EXPECT_EQ(Call(call).value, Value::Text("bx3"));
    call.parameters.push_back({std::nullopt, Value::Signed(4)});
    EXPECT_EQ(ErrorOf(Call(call)), "Unknown argument '3' for 'GetTestV1ItemsById'.");
    call.parameters = {{std::string("nope"), Value::Signed(1)}};
    EXPECT_EQ(ErrorOf(Call(call)), "Unknown argument 'nope' for 'GetTestV1ItemsById'.");
    call.parameters = {{std::nullopt, Value::Text("many")}};
    EXPECT_EQ(ErrorOf(Call(call)),
              "Value many for 'count' of type int32 is in an incorrect format");
}

// ---- The body ----------------------------------------------------------------------------

class BodyTest : public RoutesTest {
protected:
    void SetUp() override {
        Load([](RouteDeclarer& routes, BindingDispatcher&) {
            routes
                .Put("/test/v1/shapes/{name}",
                     [](std::string name, Shape shape) -> ResourceOf<std::string> {
                         return name + "=" + shape.name + "/" + std::to_string(shape.points.size());
                     })
                .PathArgument("name")
                .BodyArgument("shape");
            routes.Post("/test/v1/plain", [] { return Resource(); });
        });
    }

    ApiAnswer Send(std::string url, std::optional<std::string> contentType, std::string body) {
        ApiCall call = Request(kMethodPut, std::move(url));
        call.contentType = std::move(contentType);
        call.body = std::move(body);
        return Call(call);
    }
};

TEST_F(BodyTest, AJsonBodyBindsTheBodyArgumentByItsContentType) {
    const std::string body = R"({"name":"tri","points":[{"x":1},{"y":2}]})";
    EXPECT_EQ(Send("/test/v1/shapes/a", "application/json", body).value, Value::Text("a=tri/2"));
    EXPECT_EQ(Send("/test/v1/shapes/a", "Application/JSON; charset=utf-8", body).value,
              Value::Text("a=tri/2"));
    EXPECT_EQ(Send("/test/v1/shapes/a", "application/vnd.api+json", body).value,
              Value::Text("a=tri/2"));
    EXPECT_EQ(ErrorOf(Send("/test/v1/shapes/a", "application/json", "{\"name\":")),
              "Error: Invalid value. at offset 8.");
}

TEST_F(BodyTest, OtherContentTypesAreRefusedOrWaitForTheirReaders) {
    EXPECT_EQ(ErrorOf(Send("/test/v1/shapes/a", "text/plain", "{}")),
              "Unsupported body content type");
    EXPECT_EQ(ErrorOf(Send("/test/v1/shapes/a", std::nullopt, "{}")),
              "Unsupported body content type");
    EXPECT_EQ(ErrorOf(Send("/test/v1/shapes/a", "application/x-msgpack", "\x80")),
              "The MessagePack reader is not built");
    EXPECT_EQ(ErrorOf(Send("/test/v1/shapes/a", "application/x-yaml", "name: a")),
              "The YAML reader is not built");
}

TEST_F(BodyTest, TheBodyIsReadEvenAfterAFailureAndItsRefusalIsTheOneReported) {
    EXPECT_EQ(ErrorOf(Send("/test/v1/shapes/a?bad=1", "text/plain", "{}")),
              "Unsupported body content type");
    EXPECT_EQ(ErrorOf(Send("/test/v1/shapes/a?bad=1", "application/json", "{}")),
              "Unknown argument 'bad' for 'PutTestV1ShapesByName'.");
    EXPECT_EQ(ErrorOf(Send("/test/v1/shapes/a", "application/json", "")),
              "A value for 'shape' is required.");
}

TEST_F(BodyTest, ABodyWithoutABodyArgumentIsIgnored) {
    ApiCall call = Request(kMethodPost, "/test/v1/plain");
    call.contentType = "text/plain";
    call.body = "whatever";
    EXPECT_EQ(ErrorOf(Call(call)), "(ok)");
}

// ---- What handlers return ----------------------------------------------------------------

TEST_F(RoutesTest, AHandlersFailureKeepsItsStatusAndABindingFailureHasNone) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Post("/test/v1/fail/{code}",
                  [](std::int32_t code) -> ResourceOf<std::string> {
                      switch (code) {
                          case 404:
                              return NotFound();
                          case 500:
                              return InternalServerError("boom");
                          case 501:
                              return InternalServerError();
                          default:
                              return Resource(static_cast<std::uint32_t>(code), "teapot");
                      }
                  })
            .PathArgument("code");
    });
    const auto answer = [&](const std::string& code) {
        const ApiAnswer got = Call(kMethodPost, "/test/v1/fail/" + code);
        return ErrorOf(got) + " " + std::to_string(got.status);
    };
    EXPECT_EQ(answer("404"), "Not found 404");
    EXPECT_EQ(answer("500"), "boom 500");
    EXPECT_EQ(answer("501"), "Internal server error 500");
    EXPECT_EQ(answer("418"), "teapot 418");
    EXPECT_EQ(answer("x"), "Value x for 'code' of type int32 is in an incorrect format 0");
}

TEST_F(RoutesTest, ValuesGoOutConvertedAndEnumsByName) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes.Get("/test/v1/color", []() -> ResourceOf<Color> { return Color::Green; });
        routes.Get("/test/v1/shape", []() -> ResourceOf<Shape> {
            return Shape{"sq", {{1, 2}}, Color::Red};
        });
    });
    EXPECT_EQ(Call(kMethodGet, "/test/v1/color").value, Value::Text("Green"));
    const ApiAnswer shape = Call(kMethodGet, "/test/v1/shape");
    EXPECT_EQ(*shape.value.Find("color"), Value::Text("Red"));
    EXPECT_EQ(*shape.value.Find("points"),
              Value::List({Value::Map({{"x", Value::Signed(1)}, {"y", Value::Signed(2)}})}));
}

TEST_F(RoutesTest, StatusTextHeadersFlagAndModeReachTheHost) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Post("/test/v1/made/{mode}",
                  [](std::uint32_t mode) {
                      Resource made;
                      made.status = 201;
                      made.statusText = "Created";
                      made.headers["location"] = "/test/v1/made/1";
                      made.flag = 1;
                      made.mode = mode;
                      return made;
                  })
            .PathArgument("mode");
    });
    const ApiAnswer made = Call(kMethodPost, "/test/v1/made/2");
    EXPECT_EQ(ErrorOf(made), "(ok)");
    EXPECT_EQ(made.status, 201u);
    EXPECT_EQ(made.statusText, "Created");
    EXPECT_THAT(made.headers, ::testing::ElementsAre(std::pair<std::string, std::string>(
                                  "location", "/test/v1/made/1")));
    EXPECT_EQ(made.flag, 1);
    EXPECT_EQ(made.mode, 2u);
    EXPECT_EQ(made.value, Value::None());
    // Only the modes that the host knows pass.
    EXPECT_EQ(Call(kMethodPost, "/test/v1/made/4").mode, 0u);
    EXPECT_EQ(Call(kMethodPost, "/test/v1/made/x").statusText, "");
}

// Hands its text out in pieces of at most `piece` bytes and counts its own destruction.
class PiecesStream : public ResponseStream {
public:
    PiecesStream(std::string text, int* destroyed)
        : text_(std::move(text)), destroyed_(destroyed) {}
    ~PiecesStream() override { ++*destroyed_; }
    bool Read(char* buffer, std::uint32_t& size, bool& more) override {
        const std::size_t count = std::min<std::size_t>({size, 3, text_.size() - offset_});
        std::memcpy(buffer, text_.data() + offset_, count);
        offset_ += count;
        size = static_cast<std::uint32_t>(count);
        more = offset_ < text_.size();
        return true;
    }
    std::uint32_t Size() const override { return static_cast<std::uint32_t>(text_.size()); }

private:
    std::string text_;
    std::size_t offset_ = 0;
    int* destroyed_;
};

TEST_F(RoutesTest, AStreamIsReadByTheHostAndDestroyedOnceWhetherClosedOrNot) {
    static int destroyed = 0;
    destroyed = 0;
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes.Get("/test/v1/stream", [] {
            Resource streamed;
            streamed.stream = std::make_unique<PiecesStream>("streamed text", &destroyed);
            return streamed;
        });
        routes.Get("/test/v1/refused", [] {
            Resource refused = NotFound("gone");
            refused.stream = std::make_unique<PiecesStream>("never read", &destroyed);
            return refused;
        });
    });
    const ApiAnswer read = Call(kMethodGet, "/test/v1/stream");
    EXPECT_EQ(read.stream, "streamed text");
    EXPECT_EQ(destroyed, 1);

    // A failed handler's stream never reaches the response.
    const ApiAnswer refused = Call(kMethodGet, "/test/v1/refused");
    EXPECT_FALSE(refused.stream.has_value());
    EXPECT_EQ(destroyed, 2);

    // A host that releases without closing still frees the stream, once.
    HostResponse response = CallUnreleased("/test/v1/stream");
    EXPECT_EQ(Unpacked(response.streamSize), 13u);
    EXPECT_EQ(destroyed, 2);
    response.release(&response);
    EXPECT_EQ(destroyed, 3);
}

TEST_F(RoutesTest, TheReleaseFunctionFreesWhatTheResponseOwnsExactlyOnce) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Get("/test/v1/owned/{fail}",
                 [](bool fail) -> ResourceOf<std::vector<std::string>> {
                     ResourceOf<std::vector<std::string>> owned =
                         fail ? ResourceOf<std::vector<std::string>>(NotFound("no such list"))
                              : ResourceOf<std::vector<std::string>>({"a", "bb", "ccc"});
                     owned.statusText = "Status";
                     owned.headers["x-one"] = "1";
                     owned.headers["x-two"] = "2";
                     return owned;
                 })
            .PathArgument("fail");
    });
    for (const char* fail : {"false", "true"}) {
        const MemoryCounters before = module->ReadMemoryCounters();
        HostResponse response = CallUnreleased(std::string("/test/v1/owned/") + fail);
        const MemoryCounters answered = module->ReadMemoryCounters();
        ASSERT_NE(response.release, nullptr);
        EXPECT_EQ(Unpacked(response.headerCount), 2u);
        response.release(&response);
        const MemoryCounters released = module->ReadMemoryCounters();

        const auto live = [](const MemoryCounters& counters) {
            return counters.allocatedBytes - counters.freedBytes;
        };
        // Value, texts and headers are owned by the response until it is released.
        EXPECT_GT(live(answered), live(before)) << fail;
        EXPECT_EQ(live(released), live(before)) << fail;
        EXPECT_EQ(released.allocations - released.frees, before.allocations - before.frees) << fail;
        const auto* bytes = reinterpret_cast<const unsigned char*>(&response);
        EXPECT_TRUE(
            std::all_of(bytes, bytes + sizeof response, [](unsigned char b) { return b == 0; }));
    }
}

TEST_F(RoutesTest, AResponseThatStillHoldsAnAnswerIsReleasedBeforeItIsFilled) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes.Get("/test/v1/again", []() -> ResourceOf<std::string> { return std::string("x"); });
    });
    const MemoryCounters before = module->ReadMemoryCounters();
    HostResponse response = CallUnreleased("/test/v1/again");
    CallInto(response, "/test/v1/again");
    response.release(&response);
    const MemoryCounters after = module->ReadMemoryCounters();
    EXPECT_EQ(after.allocatedBytes - after.freedBytes, before.allocatedBytes - before.freedBytes);
}

// ---- Requests that fit no route ----------------------------------------------------------

TEST_F(RoutesTest, AUrlOrMethodThatDoesNotFitIsAnInvalidFunction) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes.Get("/test/v1/literal", [] { return Resource(); });
    });
    const HostFunctionRecord& literal = Api().functions[0];
    const auto callRecord = [&](std::uint32_t method, std::string url) {
        const ApiAnswer answer = module->CallRecord(literal, Request(method, std::move(url)));
        return ErrorOf(answer) + " " + std::to_string(answer.status);
    };
    EXPECT_EQ(callRecord(kMethodGet, "/test/v1/literal"), "(ok) 0");
    // The host picks the record by the path; the module compares the whole URL.
    EXPECT_EQ(callRecord(kMethodGet, "/test/v1/literal?x=1"), "Invalid function 404");
    EXPECT_EQ(callRecord(kMethodHead, "/test/v1/literal"), "Invalid function 404");
    EXPECT_EQ(callRecord(kMethodGet, "/test/v1/Literal"), "Invalid function 404");

    HostRequest request{};
    request.method = kMethodGet;
    request.url = "/test/v1/literal";
    HostResponse response{};
    BindingDispatcher::CallEntry(&response, &request);
    EXPECT_STREQ(response.errorText, "Invalid function");
    EXPECT_EQ(Unpacked(response.status), 404u);
    response.release(&response);
}

TEST_F(RoutesTest, AHandlerThatAsksForTheContextSeesTheRequest) {
    Load([](RouteDeclarer& routes, BindingDispatcher& dispatcher) {
        routes
            .Declare(kMethodAny, "/test/v1/context/{id}",
                     [&dispatcher](const CallContext& context,
                                   std::string id) -> ResourceOf<std::string> {
                         const auto agent = context.headers.find("user-agent");
                         return std::string(HostMethodText(context.method)) + " " +
                                std::string(context.url) + " " + id + " " +
                                std::string(context.arguments[0].GetString()) + " " +
                                std::to_string(context.clientId) + " " +
                                (agent != context.headers.end() ? agent->second : "-") + " " +
                                (context.registry == &dispatcher ? "registry" : "other");
                     })
            .PathArgument("id");
    });
    EXPECT_EQ(Unpacked(Api().functions[0].head.argumentCount), 1u);
    ApiCall call = Request(kMethodPatch, "/test/v1/context/7?");
    call.clientId = 9;
    call.headers = {{"user-agent", "tests"}};
    EXPECT_EQ(Call(call).value, Value::Text("PATCH /test/v1/context/7? 7? 7? 9 tests registry"));
}

// ---- Input of any size -------------------------------------------------------------------

TEST_F(RoutesTest, AMegabytePathSegmentAndAHundredThousandQueryPiecesAreAnswered) {
    Load([](RouteDeclarer& routes, BindingDispatcher&) {
        routes
            .Get("/test/v1/big/{id}",
                 [](std::string id, std::optional<std::string> name) -> ResourceOf<std::string> {
                     return std::to_string(id.size()) + " " + name.value_or("-");
                 })
            .PathArgument("id")
            .QueryArgument("name");
    });
    const std::string segment(1 << 20, 'z');
    EXPECT_EQ(Call(kMethodGet, "/test/v1/big/" + segment).value, Value::Text("1048576 -"));

    std::string repeated = "/test/v1/big/?";
    std::string distinct = repeated;
    for (int i = 0; i < 100000; ++i) {
        repeated += "name=" + std::to_string(i) + "&";
        distinct += "k" + std::to_string(i) + "=1&";
    }
    repeated += "name=last";
    EXPECT_EQ(Call(kMethodGet, repeated).value,
              Value::Text(std::to_string(repeated.size() - 13) + " last"));
    EXPECT_EQ(ErrorOf(Call(kMethodGet, distinct)), "Unknown argument 'k0' for 'GetTestV1BigById'.");
    EXPECT_EQ(Call(kMethodGet, "/test/v1/big/" + segment + "?name=ab").value,
              Value::Text("1048584 ab"));
}

}  // namespace
}  // namespace Tavix::Client::Testing
