// The arithmetic and texts of the album e-mail: size boundaries, download times, size choices,
// the server's SIZE, the body and the attachment's name.
#include "mail/workflow/size_estimate.h"

#include <gtest/gtest.h>

#include "image/image.h"
#include "mail/workflow/mail_album.h"
#include "mail/workflow/mail_delivery.h"
#include "mail/workflow/mail_fragments.h"

namespace quorvane::mail {
namespace {

struct RecommendCase {
  const char* name;
  uint64_t bytes;
  ResizeKind kind;
};

class RecommendationTest : public ::testing::TestWithParam<RecommendCase> {};

TEST_P(RecommendationTest, BoundariesAreInclusive) {
  EXPECT_EQ(RecommendedResize(GetParam().bytes).kind, GetParam().kind);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, RecommendationTest,
    ::testing::Values(RecommendCase{"Empty", 0, ResizeKind::kAsIs},
                      RecommendCase{"OneMiB", 1048576, ResizeKind::kAsIs},
                      RecommendCase{"OneMiBAndAByte", 1048577, ResizeKind::k800x600},
                      RecommendCase{"ThreeMiB", 3145728, ResizeKind::k800x600},
                      RecommendCase{"ThreeMiBAndAByte", 3145729, ResizeKind::k640x480}),
    [](const auto& param_info) { return std::string(param_info.param.name); });

struct DurationCase {
  const char* name;
  uint64_t seconds;
  const char* text;
};

class DurationTextTest : public ::testing::TestWithParam<DurationCase> {};

TEST_P(DurationTextTest, PicksTheUnitByThreshold) {
  EXPECT_EQ(DurationText(GetParam().seconds), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Units, DurationTextTest,
                         ::testing::Values(DurationCase{"OneSecondKeepsThePlural", 1, "1 seconds"},
                                           DurationCase{"LastSeconds", 59, "59 seconds"},
                                           DurationCase{"FirstMinute", 60, "1.0 minutes"},
                                           DurationCase{"MinutesRounded", 3599, "60.0 minutes"},
                                           DurationCase{"FirstHour", 3600, "1.0 hours"},
                                           DurationCase{"LastHours", 86399, "24.0 hours"},
                                           DurationCase{"FirstDay", 86400, "1.0 days"},
                                           DurationCase{"Days", 302400, "3.5 days"}),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

TEST(DownloadTimeTest, ThreeDivisorsAfterTheEncodingFactor) {
  EXPECT_EQ(TransferBytes(7000), 9100u);
  EXPECT_EQ(DownloadSeconds(7000), (std::array<uint64_t, 3>{1, 0, 0}));
  EXPECT_EQ(DownloadSeconds(10000000), (std::array<uint64_t, 3>{1857, 203, 67}));
  const std::string html = SizeAndTimesHtml(false, 3, 7000);
  EXPECT_NE(html.find("<b>3</b> photos"), std::string::npos) << html;
  EXPECT_NE(html.find("7 KB"), std::string::npos) << html;
  EXPECT_NE(html.find("1 seconds"), std::string::npos) << html;
  EXPECT_EQ(html.find('{'), std::string::npos) << html;
  EXPECT_EQ(SizeAndTimesHtml(true, 3, 3 << 20).find('{'), std::string::npos);
  EXPECT_EQ(SizeText(1048575), "1024 KB");
  EXPECT_EQ(SizeText(1048576), "1.0 MB");
}

TEST(ResizeChoiceTest, NamedSizesCustomSizesAndWhatIsRefused) {
  ResizeChoice choice;
  ASSERT_TRUE(ParseResizeChoice("as-is", &choice));
  EXPECT_FALSE(choice.resizes());
  ASSERT_TRUE(ParseResizeChoice("640x480", &choice));
  EXPECT_EQ(choice, ResizeChoice::Box640x480());
  ASSERT_TRUE(ParseResizeChoice("1024x768", &choice));
  EXPECT_EQ(choice.kind, ResizeKind::kCustom);
  EXPECT_EQ(choice.Name(), "1024x768");
  for (const char* bad :
       {"", "0x480", "640x0", "640", "x480", "-640x480", "640x480x2", "65501x10", "big", "As-Is"}) {
    EXPECT_FALSE(ParseResizeChoice(bad, &choice)) << bad;
  }
}

TEST(ResizeBoxTest, TheBoundSideTakesTheBoxAndTheOtherTruncates) {
  const auto fit = [](int w, int h) {
    const image::FitSize size = image::FitInside(w, h, 640, 480);
    return std::to_string(size.width) + "x" + std::to_string(size.height);
  };
  EXPECT_EQ(fit(1600, 1200), "640x480");
  EXPECT_EQ(fit(1200, 1600), "360x480");
  EXPECT_EQ(fit(1000, 100), "640x64");
  EXPECT_EQ(fit(640, 480), "640x480");
  EXPECT_EQ(fit(300, 200), "300x200");
}

TEST(ServerLimitTest, SizeIsReadFromTheEhloReplyOnly) {
  EXPECT_EQ(ParseSizeLimit("250-quorvane.test Hello\r\n250-SIZE 52428800\r\n250 HELP\r\n"),
            52428800u);
  EXPECT_EQ(ParseSizeLimit("250-x\r\n250 size 1000\r\n"), 1000u);
  EXPECT_EQ(ParseSizeLimit("250-x\r\n250 SIZE\r\n"), std::nullopt);
  EXPECT_EQ(ParseSizeLimit("250-x\r\n250 SIZE 0\r\n"), std::nullopt);
  EXPECT_EQ(ParseSizeLimit("250-x\r\n250 SIZES 10\r\n"), std::nullopt);
  EXPECT_EQ(ParseSizeLimit("250 x\r\n"), std::nullopt);
  EXPECT_EQ(ParseSizeLimit("250-SIZE 99999999999999999999999\r\n"), std::nullopt);
}

TEST(ServerLimitTest, RecommendationStepsDownToTheLargestOfferedSizeThatFits) {
  const std::array<uint64_t, 3> offered = {900000, 300000, 200000};
  EXPECT_EQ(Recommend(900000, offered, std::nullopt).choice, ResizeChoice::AsIs());
  const Recommendation roomy = Recommend(900000, offered, 10u << 20);
  EXPECT_EQ(roomy.choice, ResizeChoice::AsIs());
  EXPECT_TRUE(roomy.fits);
  EXPECT_NE(HtmlToText(roomy.html).find("so it fits"), std::string::npos) << roomy.html;
  const Recommendation tight = Recommend(900000, offered, 500000);
  EXPECT_EQ(tight.choice, ResizeChoice::Box800x600());
  EXPECT_NE(tight.html.find("800x600"), std::string::npos);
  const Recommendation none = Recommend(900000, offered, 1000);
  EXPECT_EQ(none.choice, ResizeChoice::Box640x480());
  EXPECT_FALSE(none.fits);
  EXPECT_EQ(MessageBytes(57, 0), 78u);  // one base64 line of 76 and its CRLF
}

TEST(MailTextTest, BodyFillsEveryPlaceholderAndNamesTheSender) {
  MailSettings settings;
  settings.sender_address = "ann@example.test";
  const std::string anonymous = AlbumMailBody(settings, "Summer", 12);
  EXPECT_NE(anonymous.find("Your friend at ann@example.test has sent"), std::string::npos);
  EXPECT_NE(anonymous.find("\"Summer\" with 12 photos"), std::string::npos);
  EXPECT_NE(anonymous.find("less than 15 minutes"), std::string::npos);
  EXPECT_EQ(anonymous.find('{'), std::string::npos);
  settings.sender_name = "Ann";
  EXPECT_NE(AlbumMailBody(settings, "Summer", 12).find("Ann has sent"), std::string::npos);
}

TEST(MailTextTest, WizardPageAndPlainText) {
  const std::string page = WizardPage("<p>{NumPhotos} &amp; more</p>", "Segoe UI");
  EXPECT_NE(page.find("font-family: 'Segoe UI'"), std::string::npos) << page;
  EXPECT_NE(page.find("<p>{NumPhotos} &amp; more</p>"), std::string::npos) << page;
  EXPECT_EQ(HtmlToText("<p>One\n  two</p><table><tr><td>a:</td><td>b</td></tr></table>"),
            "One two\na: b\n");
  EXPECT_EQ(
      HtmlToText(FragmentText(MailFragment::kDefaultMailClient)).rfind("Default Mail Client", 0),
      0u);
}

TEST(AttachmentNameTest, UpToTheLastDotThenQvo) {
  EXPECT_EQ(AttachmentFileName("/photos/Trip"), "Trip.qvo");
  EXPECT_EQ(AttachmentFileName("/photos/Trip/"), "Trip.qvo");
  EXPECT_EQ(AttachmentFileName("/photos/Trip.2024.06"), "Trip.2024.qvo");
  EXPECT_EQ(AttachmentFileName("/photos/trip.QVO"), "trip.qvo");
  EXPECT_EQ(AttachmentFileName("/"), "album.qvo");
}

}  // namespace
}  // namespace quorvane::mail
