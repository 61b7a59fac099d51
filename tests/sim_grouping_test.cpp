// How photos-sim makes assets of files' names, and dates of Exif's texts.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sim/camera_roll.h"
#include "sim/capture_date.h"

namespace sim {
namespace {

std::string describe(const GroupedFiles& grouped) {
  std::string text;
  for (const MediaGroup& group : grouped.groups) {
    text += group.mediaType == photos::AssetMediaType::video ? "video" : "image";
    for (const MediaFile& file : group.files) {
      text += " " + std::to_string(static_cast<int>(file.type)) + ":" + file.name;
    }
    text += "; ";
  }
  for (const std::string& name : grouped.adjustmentsAlone) {
    text += "alone " + name + "; ";
  }
  for (const std::string& name : grouped.unknownKind) {
    text += "unknown " + name + "; ";
  }
  return text;
}

TEST(CameraRoll, GroupsFilesAsACameraRollHasThem) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
      {{"b.heic", "A.JPG"}, "image 1:A.JPG; image 1:b.heic; "},
      {{"IMG_1.MOV", "img_1.heic"}, "image 1:img_1.heic 9:IMG_1.MOV; "},
      {{"a.mp4", "a.jpg"}, "image 1:a.jpg; video 2:a.mp4; "},
      {{"a.dng", "a.JPG", "a.mov"}, "image 1:a.JPG 4:a.dng 9:a.mov; "},
      {{"a.dng", "a.png"}, "image 1:a.png; image 1:a.dng; "},
      {{"a.nef"}, "image 1:a.nef; "},
      {{"a.gif", "a.jpg", "a.mov"}, "image 1:a.jpg 9:a.mov; image 1:a.gif; "},
      {{"IMG_1.JPG", "IMG_1.MOV", "IMG_1.AAE", "IMG_E1.JPG", "IMG_E1.MOV"},
       "image 1:IMG_1.JPG 9:IMG_1.MOV 7:IMG_1.AAE 5:IMG_E1.JPG 10:IMG_E1.MOV; "},
      {{"IMG_1.JPG", "IMG_E1.MOV"}, "image 1:IMG_1.JPG; video 2:IMG_E1.MOV; "},
      {{"IMG_1.MOV", "IMG_1.AAE", "img_e1.mov"}, "video 2:IMG_1.MOV 7:IMG_1.AAE 6:img_e1.mov; "},
      {{"IMG_E1.JPG", "IMG_2.JPG", "IMG_Eva.JPG", "IMG_va.JPG"},
       "image 1:IMG_2.JPG; image 1:IMG_E1.JPG; image 1:IMG_Eva.JPG; image 1:IMG_va.JPG; "},
      {{"IMG_1.JPG", "IMG_E1.JPG", "IMG_E1.PNG"},
       "image 1:IMG_1.JPG 5:IMG_E1.JPG; image 1:IMG_E1.PNG; "},
      {{"IMG_9.AAE", "._a.jpg", ".DS_Store"},
       "alone IMG_9.AAE; unknown .DS_Store; unknown ._a.jpg; "},
  };
  for (const auto& [names, expected] : cases) {
    EXPECT_EQ(describe(groupFiles(names)), expected);
  }
}

TEST(CaptureDate, FollowsTheOffsetAndTheFraction) {
  setenv("TZ", "TEST-3", 1);  // three hours east of Greenwich
  tzset();
  constexpr double noon = 1689336000;  // 2023-07-14T12:00:00Z
  EXPECT_EQ(exifDate("2023:07:14 12:00:00", "+02:00", "25"), noon - 7200 + 0.25);
  EXPECT_EQ(exifDate("2023:07:14 12:00:00", "-05:30", "x"), noon + 19800);
  EXPECT_EQ(exifDate("2023:07:14 12:00:00", "   :  ", ""), noon - 10800);
  EXPECT_EQ(exifDate("0000:00:00 00:00:00", "", ""), std::nullopt);
  EXPECT_EQ(exifDate("2023:02:30 12:00:00", "", ""), std::nullopt);
  EXPECT_EQ(exifDate("2023-07-14", "", ""), std::nullopt);
}

}  // namespace
}  // namespace sim
