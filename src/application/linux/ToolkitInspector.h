#pragma once

/// The toolkit's inspector opens over every window at the press of a key. Whoever is at the keyboard could
/// take the lock away with it and read what fields hold.
namespace ToolkitInspector {

/// Takes the environment's word for it away (GTK_DEBUG=interactive). Before the toolkit starts.
void forbidEnvironment();
/// Takes the keys away.
void forbidKeys();

} // namespace ToolkitInspector
