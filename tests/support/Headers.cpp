// A library cannot be without a source file; what counts here is its precompiled header.
