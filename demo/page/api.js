// The one way to the service.

/** What the service answered instead of doing as asked; its message is a sentence for the user. */
export class ServiceError extends Error {
  constructor(message, status) {
    super(message);
    this.status = status;
  }
}

/** Sends `body` as JSON and returns the JSON answer (null for an empty one). Throws ServiceError. */
export async function request(method, path, body) {
  const options = { method, credentials: "same-origin", headers: {} };
  if (body !== undefined) {
    options.headers["Content-Type"] = "application/json";
    options.body = JSON.stringify(body);
  }
  let response;
  try {
    response = await fetch(path, options);
  } catch {
    throw new ServiceError("The service cannot be reached.", 0);
  }
  const answer = await response.json().catch(() => null);
  if (response.ok) return answer;
  throw new ServiceError(answer?.error ?? `Something went wrong (${response.status}).`, response.status);
}
