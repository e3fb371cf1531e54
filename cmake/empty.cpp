// Lets a library folder that has no sources yet still form a target.
