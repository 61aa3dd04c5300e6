// What the desktop program offers to the page. In a plain browser there is nothing of it.

export const native = window.BriskoNative ?? null;

/** What the program refused, as a sentence. */
export const refusal = (error) => `This did not work: ${error.message.replace(/^brisko: /, "")}.`;
