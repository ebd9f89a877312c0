/** The size of a text in bytes as it goes over the wire. */
export function utf8Length(text: string): number {
  return new TextEncoder().encode(text).length;
}

/** The beginning of a text, never half a character. */
export function cut(text: string, length: number): string {
  if (text.length <= length) return text;
  const end = /[\uD800-\uDBFF]/.test(text[length - 1]!) ? length - 1 : length;
  return text.slice(0, end) + "…";
}
