#include "bench/Samples.h"

namespace hotfix {

std::string propertiesText(int entries) {
  std::string text;
  for (int entry = 0; entry < entries; ++entry) {
    const std::string number = std::to_string(entry);
    text += "com.qor.rcp.setting." + number + "=C\\:\\\\some\\ path/${env.HOME}/number " + number + "\n";
  }
  return text;
}

std::string manifestText(int features) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<install><domain-object><object-data><install><installfeature><requirements>\n";
  for (int feature = 0; feature < features; ++feature) {
    text += "  <feature id=\"com.qor.feature." + std::to_string(feature) +
            "\" version=\"6.2.1.20260101\" action=\"install\" url=\"${installer.root}/updateSite/features\"/>\n";
  }
  return text + "</requirements></installfeature></install></object-data></domain-object></install>\n";
}

std::string propertyListText(int records) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n<dict>\n";
  for (int record = 0; record < records; ++record) {
    const std::string number = std::to_string(record);
    text +=
        "\t<key>record " + number + "</key>\n\t<dict>\n\t\t<key>count</key>\n\t\t<integer>" + number +
        "</integer>\n\t\t<key>names</key>\n\t\t<array>\n\t\t\t<string>a</string>\n\t\t\t<string>b &amp; c</string>\n" +
        "\t\t\t<string>d</string>\n\t\t</array>\n\t\t<key>version</key>\n\t\t<string>6.2.1." + number +
        "</string>\n\t</dict>\n";
  }
  return text + "</dict>\n</plist>\n";
}

std::string addonRegistryText(int addons) {
  std::string text = "<plist version=\"1.0\"><dict><key>addons</key><array>\n";
  for (int addon = 0; addon < addons; ++addon) {
    const std::string id = "com.qor.addon." + std::to_string(addon);
    text += "<dict><key>ID</key><string>" + id +
            "</string><key>version</key><string>6.2.1</string><key>bundleID</key>" + "<string>" + id +
            ".pkg</string><key>name</key><string>Add-on " + id + "</string></dict>\n";
  }
  return text + "</array></dict></plist>\n";
}

}  // namespace hotfix
