declare module '*.wasm' { const bytes: Uint8Array; export default bytes; }
declare module '*.abc' { const bytes: Uint8Array<ArrayBuffer>; export default bytes; }
