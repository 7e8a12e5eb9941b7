# Builds tavrin and tavrin-hook from a source archive. Put this file into the folder Formula of a tap, with the archive's
# address and the line of SHA256SUMS that "make package" printed for it.
class Tavrin < Formula
  desc "Shows what coding agents are doing, and goes to the one that waits"
  homepage "https://tavrin.example"
  url "https://tavrin.example/tavrin-hook-0.2.0.tar.gz"
  sha256 "0000000000000000000000000000000000000000000000000000000000000000"
  license "MIT"

  depends_on "boost" => :build
  depends_on "cli11" => :build
  depends_on "cmake" => :build
  depends_on "libuv"
  depends_on "utf8proc"

  on_linux do
    depends_on "icu4c"
  end

  def install
    # Agents' settings hold the hook's path, so it goes through "opt", which an upgrade does not change.
    system "cmake", "-S", ".", "-B", "build", *std_cmake_args,
           "-DCMAKE_BUILD_TYPE=Release",
           "-DTAVRIN_BUILD_TESTS=OFF",
           "-DTAVRIN_BUILD_EXAMPLES=OFF",
           "-DTAVRIN_BUILD_TERMINAL=ON",
           "-DTAVRIN_INSTALLED_HOOK=#{opt_prefix}/lib/Tavrin/bin/tavrin-hook"
    system "cmake", "--build", "build"
    system "cmake", "--install", "build", "--component", "hook"
    system "cmake", "--install", "build", "--component", "terminal"
  end

  def caveats
    "Connect your agents with: tavrin connect"
  end

  test do
    assert_match version.to_s, shell_output("#{bin}/tavrin --version")
    pipe_output("#{bin}/tavrin-hook", '{"session_id":"s","hook_event_name":"UserPromptSubmit","cwd":"/"}', 0)
    assert_path_exists testpath/"Library/Application Support/Tavrin/sessions/s.json"
    assert_path_exists share/"bash-completion/completions/tavrin"
  end
end
