#pragma once

/// The toolkit's inspector opens over every window at the press of a key. Whoever is at the keyboard could
/// take the lock away with it and read what fields hold.
namespace ToolkitInspector {

/// Takes the keys away. The environment (GTK_DEBUG=interactive) still opens it with the program.
void forbidKeys();

} // namespace ToolkitInspector
