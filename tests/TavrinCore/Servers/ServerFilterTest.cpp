#include "TavrinCore/Servers/ServerFilter.hpp"

#include <gtest/gtest.h>

#include <string>

namespace tavrin {
namespace {

TEST(ServerFilter, ApplicationsAndTheSystemAreNoise) {
  for (const char* path :
       {"/Applications/Foo.app/Contents/MacOS/Foo", "/Users/dev/Foo.app/Contents/Frameworks/node",
        "/System/Library/CoreServices/ControlCenter", "/usr/libexec/rapportd", "/usr/sbin/cupsd",
        "/sbin/launchd", "/Library/Apple/System/x", "/Library/PrivilegedHelperTools/helper",
        "/Library/Python.framework/Versions/3.11/bin/python3.app/Contents/MacOS/python3", "/System/x/docker",
        "/Applications/DockerHelper.app/Contents/MacOS/x"}) {
    EXPECT_TRUE(ServerFilter::isNoise(path)) << path;
  }
}

TEST(ServerFilter, WhatAUserStartsIsNotNoise) {
  for (const char* path :
       {"", "/usr/local/bin/node", "/opt/homebrew/bin/node", "/usr/bin/python3", "/home/dev/app/server",
        "node", "/Users/dev/usr/sbin/x", "/Systems/x", "/system/x", "/Users/dev/Foo.app",
        "/Users/dev/foo.APP/Contents/x",
        "/Library/Frameworks/Python.framework/Versions/3.12/Resources/Python.app/Contents/MacOS/Python",
        "/Applications/Xcode.app/Contents/Developer/Library/Frameworks/Python3.framework/Versions/3.9/"
        "Resources/"
        "Python.app/Contents/MacOS/Python",
        "/System/Library/Frameworks/Python.framework/Versions/2.7/Resources/Python.app/Contents/MacOS/"
        "Python"}) {
    EXPECT_FALSE(ServerFilter::isNoise(path)) << path;
  }
}

TEST(ServerFilter, AFrameworkIsPythonOnlyWithItsWholePath) {
  EXPECT_TRUE(ServerFilter::isNoise("/x/Python.framework/Resources/Python.app/Contents/MacOS/Python2"));
  EXPECT_TRUE(ServerFilter::isNoise("/x/Python4.framework/Resources/Python.app/Contents/MacOS/Python"));
}

TEST(ServerFilter, ContainersAreNotNoise) {
  for (const char* path : {"/Applications/Docker.app/Contents/MacOS/com.docker.backend",
                           "docker.app/contents/", "/usr/sbin/docker-proxy", "/usr/libexec/vpnkit-bridge"}) {
    EXPECT_FALSE(ServerFilter::isNoise(path)) << path;
  }
}

TEST(ServerFilter, DockerIsKnownByItsCommandOrItsPath) {
  const struct {
    const char* command;
    const char* path;
    bool docker;
  } cases[] = {
      {"com.docker.backend", "", true},
      {"Docker", "", true},
      {"com.dock", "", true},
      {"com.docke", "", true},
      {"com.dockx", "", true},
      {"xcom.dockx", "", false},
      {"mydockerd", "", true},
      {"vpnkit-bridge", "", true},
      {"VPNKit", "", true},
      {"my-vpnkit", "", false},
      {"doc\u212aer", "", true},
      {"", "/Applications/DOCKER.app/Contents/MacOS/x", true},
      {"", "/usr/bin/docker-proxy", true},
      {"", "/x/docker-proxy-2", true},
      {"", "/opt/vpnkit", true},
      {"", "/opt/my-vpnkit", false},
      {"", "/usr/bin/docker", false},
      {"node", "/usr/local/bin/node", false},
      {"", "", false},
  };
  for (const auto& [command, path, docker] : cases) {
    EXPECT_EQ(ServerFilter::isDocker(command, path), docker) << command << " " << path;
  }
}

TEST(ServerFilter, TakesAnyBytes) {
  const std::string path = std::string(1'000'000, '/') + std::string("\0\xff.app/Contents/", 16);
  EXPECT_TRUE(ServerFilter::isNoise(path));
  EXPECT_FALSE(ServerFilter::isDocker("\xff\xc3", path));
}

}  // namespace
}  // namespace tavrin
