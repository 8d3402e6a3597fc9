# For a tap of one's own: docs/building-on-a-mac.md. Fill in homepage, url and sha256 of a release.
class HotfixUninstall < Formula
  desc "Remove a hotfix from an installed instance of a client platform"
  homepage "https://example.invalid/hotfix-uninstall"
  url "https://example.invalid/hotfix-uninstall-1.0.0.tar.gz"
  sha256 "0000000000000000000000000000000000000000000000000000000000000000"
  head "https://example.invalid/hotfix-uninstall.git", branch: "main"

  depends_on "cmake" => :build
  depends_on "nlohmann-json" => :build

  uses_from_macos "libxml2"

  on_linux do
    depends_on "pkgconf" => :build
    depends_on "utf8proc"
  end

  def install
    system "cmake", "-S", ".", "-B", "build", "-DHOTFIX_BUILD_TESTS=OFF", "-DHOTFIX_BUILD_DEMO=OFF", *std_cmake_args
    system "cmake", "--build", "build"
    system "cmake", "--install", "build"
  end

  def caveats
    <<~EOS
      It is run as root: sudo USER="$USER" #{opt_sbin}/hotfixUninstall -rcphome HOME -rcpdata DATA
    EOS
  end

  test do
    output = shell_output("#{sbin}/hotfixUninstall -rcphome #{testpath}/No.app/Contents/MacOS/rcp 2>&1", 1)
    assert_match "Usage: [sudo hotfixUninstall -rcphome ${path to rcphome}]", output
    assert_match "The hotfix was not removed", output
    assert_match "no-instance", shell_output("#{sbin}/hotfixInspect status #{testpath}/No.app/Contents/MacOS/rcp", 16)
  end
end
