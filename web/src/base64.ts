/** Standard base64 (RFC 4648, section 4) with its padding, strictly: no white space, nothing left out. */

const kPiece = 0x8000; // arguments that a call surely takes

export function encodeBase64(bytes: Uint8Array): string {
  let binary = "";
  for (let at = 0; at < bytes.length; at += kPiece)
    binary += String.fromCharCode(...bytes.subarray(at, at + kPiece));
  return btoa(binary);
}

/** The bytes, or null when the text is not strict base64. */
export function decodeBase64(text: string): Uint8Array<ArrayBuffer> | null {
  if (text.length % 4 !== 0 || !/^[A-Za-z0-9+/]*={0,2}$/.test(text)) return null;
  const binary = atob(text);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; ++i) bytes[i] = binary.charCodeAt(i);
  return bytes;
}
