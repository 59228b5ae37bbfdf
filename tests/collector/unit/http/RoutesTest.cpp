#include "collector/http/Routes.h"

#include <gtest/gtest.h>

namespace pelto::collector {

std::ostream& operator<<(std::ostream& stream, Route::Kind kind) {
  return stream << static_cast<int>(kind);
}

namespace {

using Kind = Route::Kind;

struct RouteCase {
  std::string_view target;
  /// Empty: unknown.
  std::string_view product;
};

void expect_routes(const IntakeRoutes& routes, std::initializer_list<RouteCase> cases) {
  for (const RouteCase& c : cases) {
    const Route route = routes.find("POST", c.target);
    EXPECT_EQ(route.kind, c.product.empty() ? Kind::unknown_product : Kind::delivery) << c.target;
    EXPECT_EQ(route.product, c.product) << c.target;
  }
}

TEST(Routes, OneProductIsTakenWithAndWithoutItsName) {
  expect_routes(IntakeRoutes({"/collect"}, {"default"}),
                {
                    {"/collect", "default"},
                    {"/collect?", "default"},
                    {"/collect?acp=1252", "default"},
                    {"/collect?product=default", "default"},
                    {"/collect/default", "default"},
                    {"/collect/", ""},
                    {"/collect?product=", ""},
                    {"/collect?product=7", ""},
                    {"/collect/7", ""},
                    {"/", ""},
                    {"", ""},
                    {"*", ""},
                    {"/collec", ""},
                    {"/collectx", ""},
                    {"/Collect", ""},
                    {"//collect", ""},
                    {"/collect/default/", ""},
                    {"/collect#x", ""},
                    {"collect", ""},
                });
}

TEST(Routes, OfSeveralProductsOneMustBeNamed) {
  expect_routes(IntakeRoutes({"/collect"}, {"Designer", "Viewer"}),
                {
                    {"/collect", ""},
                    {"/collect?product=Designer", "Designer"},
                    {"/collect?product=Viewer", "Viewer"},
                    {"/collect/Viewer", "Viewer"},
                    {"/collect?x=1&product=Viewer", "Viewer"},
                    {"/collect?product=Viewer&x=1", "Viewer"},
                    {"/collect?&product=Viewer&", "Viewer"},
                    {"/collect?Product=Viewer", ""},
                    {"/collect?xproduct=Viewer", ""},
                    {"/collect?product", ""},
                    {"/collect?product=viewer", ""},
                    {"/collect/viewer", ""},
                    {"/collect?product=Other", ""},
                });
}

TEST(Routes, TwoDifferentNamesAreUnknown) {
  expect_routes(IntakeRoutes({"/collect"}, {"A", "B"}), {
                                                            {"/collect?product=A&product=A", "A"},
                                                            {"/collect?product=A&product=B", ""},
                                                            {"/collect?product=A&product=C", ""},
                                                            {"/collect?product=C&product=A", ""},
                                                            {"/collect/A?product=A", "A"},
                                                            {"/collect/A?product=B", ""},
                                                            {"/collect/A?product=", ""},
                                                        });
}

TEST(Routes, NamesArePercentDecoded) {
  expect_routes(IntakeRoutes({"/collect"}, {"My Product", "a/b", "Öl", "a+b", "100%"}),
                {
                    {"/collect/My%20Product", "My Product"},
                    {"/collect?product=My%20Product", "My Product"},
                    {"/collect?product=My+Product", ""},
                    {"/collect?product=a+b", "a+b"},
                    {"/collect?product=a%2Bb", "a+b"},
                    {"/collect/a%2fb", "a/b"},
                    {"/collect/a%2Fb", "a/b"},
                    {"/collect/a/b", ""},
                    {"/collect/%C3%96l", "Öl"},
                    {"/collect/%c3%96l", "Öl"},
                    {"/collect/100%25", "100%"},
                    {"/collect/100%", ""},
                    {"/collect/100%2", ""},
                    {"/collect/100%zz", ""},
                    {"/collect/%4dy%20%50roduct", "My Product"},
                });
}

TEST(Routes, SeveralPathsLeadToTheSameProducts) {
  const IntakeRoutes routes({"/in", "/in/deep"}, {"deep", "A"});
  expect_routes(routes, {
                            {"/in/A", "A"},
                            {"/in/deep/A", "A"},
                            {"/in/deep/deep", "deep"},
                            {"/in/deep", ""},
                            {"/in?product=A", "A"},
                            {"/in/deep?product=A", "A"},
                            {"/collect?product=A", ""},
                        });
  EXPECT_EQ(routes.find("POST", "/in/deep/A").path, "/in/deep");
}

TEST(Routes, TheRootCanBeAPath) {
  expect_routes(IntakeRoutes({"/"}, {"A"}), {
                                                {"/", "A"},
                                                {"/A", "A"},
                                                {"/?product=A", "A"},
                                                {"/B", ""},
                                                {"/A/A", ""},
                                            });
}

TEST(Routes, AWholeAddressIsTakenForItsPath) {
  expect_routes(IntakeRoutes({"/collect"}, {"A"}), {
                                                       {"http://collect.example/collect", "A"},
                                                       {"http://collect.example:80/collect/A", "A"},
                                                       {"http://collect.example", ""},
                                                       {"http:/collect", ""},
                                                   });
}

TEST(Routes, TheMethodIsJudgedFirst) {
  const IntakeRoutes routes({"/collect"}, {"A"});
  for (const std::string_view method : {"GET", "HEAD", "PUT", "OPTIONS", "DELETE", "post", "XYZ"}) {
    for (const std::string_view target : {"/collect", "/collect/A", "/nothing", "*"}) {
      EXPECT_EQ(routes.find(method, target).kind, Kind::wrong_method) << method << " " << target;
    }
  }
  EXPECT_EQ(routes.find("GET", "/collect").product, "A") << "the refusal counts for the product";
}

TEST(Routes, HealthIsReadOnly) {
  const IntakeRoutes routes({"/collect"}, {"A"});
  for (const std::string_view method : {"GET", "HEAD"}) {
    EXPECT_EQ(routes.find(method, "/healthz").kind, Kind::health);
    EXPECT_EQ(routes.find(method, "/healthz?x").kind, Kind::health);
    EXPECT_EQ(routes.find(method, "/readyz").kind, Kind::readiness);
  }
  for (const std::string_view method : {"POST", "OPTIONS", "PUT"}) {
    EXPECT_EQ(routes.find(method, "/healthz").kind, Kind::wrong_method) << method;
    EXPECT_EQ(routes.find(method, "/readyz").kind, Kind::wrong_method) << method;
  }
  EXPECT_EQ(routes.find("GET", "/healthz/").kind, Kind::wrong_method);
  EXPECT_TRUE(routes.find("GET", "/healthz").is_health_path());
  EXPECT_TRUE(routes.find("POST", "/readyz").is_health_path());
  EXPECT_FALSE(routes.find("GET", "/collect").is_health_path());
}

TEST(Routes, AnIntakePathBeginsWithASlashAndIsPlain) {
  for (const std::string_view path : {"/", "/collect", "/a/b", "/%41"}) {
    EXPECT_TRUE(is_intake_path(path)) << path;
  }
  for (const std::string_view path :
       {"", "collect", "/collect/", "//", "/a?b", "/a#b", "/a b", "/a\n", "/healthz", "/readyz",
        "/mine", "/mine/kept", "/a\x7f"}) {
    EXPECT_FALSE(is_intake_path(path)) << path;
  }
}

TEST(Routes, PathsOfParticipantsAreTheirsAlone) {
  for (const std::string_view path : {"/mine", "/mine/", "/mine/kept", "/mine/assets/a.js"}) {
    EXPECT_TRUE(is_participants_path(path)) << path;
  }
  for (const std::string_view path : {"", "/", "/min", "/miner", "/collect/mine", "mine"}) {
    EXPECT_FALSE(is_participants_path(path)) << path;
  }
  EXPECT_TRUE(is_intake_path("/miner"));
}

}  // namespace
}  // namespace pelto::collector
