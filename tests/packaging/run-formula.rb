# Does what "brew install" and "brew test" do with the formula: unpacks the source archive, runs the formula's steps in
# it, and its test. The arguments are the formula, the archive and an empty directory. Only the words that the formula
# uses are known here, so a new one is an error.
require "etc"
require "fileutils"
require "open3"
require "pathname"

ARCHIVE = Pathname(ARGV[1]).expand_path
WORKSHOP = Pathname(ARGV[2]).expand_path
# The formula's "opt" is a link to its directory, as it is in Homebrew.
CELLAR = WORKSHOP/"Cellar/tavrin"

class Formula
  VALUES = {}
  class << self
    attr_reader :tested, :needed

    [:desc, :homepage, :url, :sha256, :license].each do |word|
      define_method(word) { |text| VALUES[word] = text }
    end

    def depends_on(formula)
      (@needed ||= []) << formula
    end

    def on_linux = yield

    def test(&steps)
      @tested = steps
    end
  end

  def version = VALUES[:url][/-(\d[\d.]*)\.tar\.gz\z/, 1]
  def prefix = CELLAR/version
  def opt_prefix = WORKSHOP/"opt/tavrin"
  def bin = prefix/"bin"
  def share = prefix/"share"
  def testpath = WORKSHOP/"test"

  def std_cmake_args
    ["-DCMAKE_INSTALL_PREFIX=#{prefix}", "-DCMAKE_BUILD_TYPE=Release", "-Wno-dev"]
  end

  def system(*words)
    Kernel.system(*words, out: File::NULL) or abort "The formula's step failed: #{words.join(" ")}"
  end

  def shell_output(command)
    output, status = Open3.capture2(command)
    status.success? or abort "#{command} failed"
    output
  end

  def pipe_output(command, input, expected)
    output, status = Open3.capture2(command, stdin_data: input)
    status.exitstatus == expected or abort "#{command} failed"
    output
  end

  def assert_match(expected, text)
    text.include?(expected) or abort "#{text.inspect} does not hold #{expected}"
  end

  def assert_path_exists(path)
    path.exist? or abort "There is no #{path}"
  end
end

ENV["MAKEFLAGS"] ||= "-j#{Etc.nprocessors}"
load File.expand_path(ARGV[0])
formula = Tavrin.new
ARCHIVE.to_s.end_with?("tavrin-hook-#{formula.version}.tar.gz") or
  abort "The formula is for version #{formula.version}, and the archive is #{ARCHIVE.basename}"
source = WORKSHOP/"source"
FileUtils.mkdir_p([source, formula.opt_prefix.parent])
Kernel.system("tar", "xzf", ARCHIVE.to_s, "-C", source.to_s, "--strip-components=1") or abort
FileUtils.ln_s(formula.prefix, formula.opt_prefix)
Dir.chdir(source) { formula.install }
# "brew test" has a scratch home.
formula.testpath.mkpath
ENV["HOME"] = formula.testpath.to_s
Dir.chdir(formula.testpath) { formula.instance_eval(&Tavrin.tested) }
FileUtils.rm_r(source)

# What Homebrew links into its own directories, and nothing else.
expected = %w[
  bin/tavrin bin/tavrin-hook lib/Tavrin/bin/tavrin lib/Tavrin/bin/tavrin-hook
  share/bash-completion/completions/tavrin share/fish/vendor_completions.d/tavrin.fish
  share/man/man1/tavrin-hook.1 share/man/man1/tavrin.1 share/man/man5/tavrin-session.5
  share/zsh/site-functions/_tavrin
]
found = Dir.chdir(formula.prefix) { Dir.glob("**/*").reject { |path| File.directory?(path) }.sort }
found == expected or abort "The formula installed #{(found - expected) | (expected - found)}"
program = File.binread(formula.prefix/"lib/Tavrin/bin/tavrin")
program.include?("#{formula.opt_prefix}/lib/Tavrin/bin/tavrin-hook") or
  abort "tavrin would not write the hook's path below opt into agents' settings"
puts "tavrin.rb: built and installed version #{formula.version} from #{ARCHIVE.basename}"
