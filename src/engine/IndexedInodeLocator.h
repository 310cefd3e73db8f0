#pragma once

// Lets alias resolution find files moved to another folder through the metadata index's inode -> path map.
namespace IndexedInodeLocator {

// Registers the index at MetadataCrawler::defaultDatabasePath() as XPSimpleUtils' inode locator. Each lookup
// opens its own connection, as aliases are resolved on worker threads and a moved file is the rare case; no
// index file means no answer, and none is created.
void install();

} // namespace IndexedInodeLocator
