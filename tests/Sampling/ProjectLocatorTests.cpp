#include <gtest/gtest.h>

#include "Sampling/ProjectLocator.h"
#include "support/TempDir.h"

namespace orv {
namespace {

class ProjectLocatorFixture : public ::testing::Test {
protected:
    test::TempDir root;
    ProjectLocator locator{root.path()};
};

TEST_F(ProjectLocatorFixture, TheNearestManifestAboveTheDirectoryNamesTheProject) {
    root.write("home/u/shop/package.json", R"({"name": "shop-web", "version": "1.0.0"})");
    root.mkdir("home/u/shop/src/server");
    EXPECT_EQ(locator.locate("/home/u/shop/src/server"), (ProjectLocator::Found{"/home/u/shop", "shop-web"}));
    EXPECT_EQ(locator.locate("/home/u/shop"), (ProjectLocator::Found{"/home/u/shop", "shop-web"}));
    EXPECT_EQ(locator.locate("/home/u/shop/"), (ProjectLocator::Found{"/home/u/shop", "shop-web"}));
}

TEST_F(ProjectLocatorFixture, ARepositoryRootWithoutManifestIsNamedAfterItsFolder) {
    root.mkdir("home/u/notes/.git");
    root.mkdir("home/u/notes/site");
    EXPECT_EQ(locator.locate("/home/u/notes/site"), (ProjectLocator::Found{"/home/u/notes", "notes"}));
    // A worktree's .git is a file.
    root.write("home/u/wt/.git", "gitdir: /home/u/notes/.git/worktrees/wt\n");
    EXPECT_EQ(locator.locate("/home/u/wt"), (ProjectLocator::Found{"/home/u/wt", "wt"}));
}

TEST_F(ProjectLocatorFixture, ANestedPackageWinsOverTheRepositoryAroundIt) {
    root.mkdir("home/u/mono/.git");
    root.write("home/u/mono/apps/api/pyproject.toml", "[build-system]\nrequires = []\n\n[project]\nname = \"api\"\n");
    EXPECT_EQ(locator.locate("/home/u/mono/apps/api"), (ProjectLocator::Found{"/home/u/mono/apps/api", "api"}));
    EXPECT_EQ(locator.locate("/home/u/mono/apps"), (ProjectLocator::Found{"/home/u/mono", "mono"}));
}

TEST_F(ProjectLocatorFixture, EachManifestGivesItsName) {
    EXPECT_EQ(ProjectLocator::manifestName("Cargo.toml", "[workspace]\nname = \"no\"\n[package]\nname = \"shop\"\n"),
              "shop");
    EXPECT_EQ(ProjectLocator::manifestName("pyproject.toml", "[tool.poetry]\nname = 'blog'\n"), "blog");
    EXPECT_EQ(ProjectLocator::manifestName("go.mod", "module github.com/acme/api\n\ngo 1.22\n"), "api");
    EXPECT_EQ(ProjectLocator::manifestName("go.mod", "module \"example.com/m\"\n"), "m");
    EXPECT_EQ(ProjectLocator::manifestName("deno.json", R"({"name": "@acme/fresh"})"), "@acme/fresh");
    EXPECT_EQ(ProjectLocator::manifestName("Gemfile", "source 'https://rubygems.org'\n"), std::nullopt);
}

TEST_F(ProjectLocatorFixture, AManifestThatDoesNotParseStillMakesAProjectNamedAfterItsFolder) {
    root.write("home/u/broken/package.json", "{\"name\": ");
    EXPECT_EQ(locator.locate("/home/u/broken"), (ProjectLocator::Found{"/home/u/broken", "broken"}));
    root.write("home/u/nameless/package.json", R"({"private": true, "name": 3})");
    EXPECT_EQ(locator.locate("/home/u/nameless"), (ProjectLocator::Found{"/home/u/nameless", "nameless"}));
    root.write("home/u/rails/Gemfile", "gem 'rails'\n");
    EXPECT_EQ(locator.locate("/home/u/rails"), (ProjectLocator::Found{"/home/u/rails", "rails"}));
}

TEST_F(ProjectLocatorFixture, NoProjectAboveOrTheRootItselfOrARelativePathIsAbsent) {
    root.mkdir("var/lib/postgresql/15/main");
    EXPECT_EQ(locator.locate("/var/lib/postgresql/15/main"), std::nullopt);
    root.write("package.json", R"({"name": "everything"})");
    EXPECT_EQ(locator.locate("/"), std::nullopt);
    EXPECT_EQ(locator.locate("/var/lib"), std::nullopt);
    EXPECT_EQ(locator.locate("home/u"), std::nullopt);
    EXPECT_EQ(locator.locate(""), std::nullopt);
}

TEST_F(ProjectLocatorFixture, AManifestThatIsAFolderDoesNotCount) {
    root.mkdir("home/u/odd/package.json");
    EXPECT_EQ(locator.locate("/home/u/odd"), std::nullopt);
    EXPECT_TRUE(!locator.hasFile("/home/u/odd/package.json"));
    root.write("home/u/shop/Cargo.toml", "[package]\nname = \"shop\"\n");
    EXPECT_TRUE(locator.hasFile("/home/u/shop/Cargo.toml"));
}

}  // namespace
}  // namespace orv
